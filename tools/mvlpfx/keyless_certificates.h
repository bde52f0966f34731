// The certificates of a document whose keys are not in it.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "mvlpfx/handles.h"

namespace mvlpfx {

// A certificate whose key can't be reached, and the reason: 0 where the provider has none.
struct Keyless {
    std::string thumbprint;
    std::string subject;
    std::string container;  // empty where it records none
    DWORD reason;
};

struct Contents {
    std::size_t certificates = 0;
    std::size_t keys = 0;
    std::vector<Keyless> keyless;
};

// What is in a document that was made of the store.
Contents CompareWith(HCERTSTORE store, const std::vector<std::uint8_t>& document);

// Takes the records of keys that are not in the document from the certificates of the store, which
// is one in memory.
void ForgetMissingKeys(HCERTSTORE store, const std::vector<std::uint8_t>& document);

// A list of {"thumbprint", "subject", "container", "errorWord", "errorName"}.
nlohmann::ordered_json JsonOf(const std::vector<Keyless>& keyless);

// The same of one in a line of text.
std::string LineOf(const Keyless& keyless);

// The failure of a document that must not lack these keys.
[[noreturn]] void ThrowMissingKeys(const Contents& contents);

}  // namespace mvlpfx
