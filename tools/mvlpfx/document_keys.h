// The encrypted parts of a document as the module itself reads them.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "derlist/der_list.h"
#include "schema/pfx_key_bag.h"

namespace mvlpfx {

// Gives `take` each bag that a restore takes for a key's, and its number among all the bags of its
// type, from 1. Throws what the schema throws for a malformed one, and what the walk throws for
// bags in bags.
void ForEachKeyBag(const pkisdk::DerList& document,
                   const std::function<void(const PfxKeyBag&, std::uint32_t)>& take);

// The numbers that the keys of a document of the module's own bear.
std::set<std::uint32_t> KeyNumbers(std::span<const std::uint8_t> document);

// What a derivation runs where a document says `count`.
std::uint64_t IterationsRun(std::uint64_t count);

// The iterations that a restore of the document runs at most, its integrity value counted twice,
// for a wrong password.
std::uint64_t CountIterations(std::span<const std::uint8_t> document);

// Those of the integrity value, once, and of the encrypted content.
std::uint64_t CountContentIterations(std::span<const std::uint8_t> document);

// What is malformed in an encrypted part, as the reader's own words for it; empty where nothing is.
std::string FindMalformedPart(std::span<const std::uint8_t> document);

}  // namespace mvlpfx
