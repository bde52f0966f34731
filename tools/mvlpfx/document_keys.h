// The encrypted parts of a document as the module itself reads them.
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace mvlpfx {

// The numbers that the keys of a document of the module's own bear.
std::set<std::uint32_t> KeyNumbers(std::span<const std::uint8_t> document);

// The iterations that a restore of the document runs at most, its integrity value counted twice,
// for a wrong password.
std::uint64_t CountIterations(std::span<const std::uint8_t> document);

// What is malformed in an encrypted part, as the reader's own words for it; empty where nothing is.
std::string FindMalformedPart(std::span<const std::uint8_t> document);

}  // namespace mvlpfx
