#include "mvlpfx/error_words.h"

#include <array>
#include <cstdio>

namespace mvlpfx {

namespace {

constexpr std::array kErrorWords = {
    ErrorWord{0x8009001A, ExitCode::kWrongPassword, "NTE_KEYSET_ENTRY_BAD",
              "wrong password, or the document was changed"},
    ErrorWord{86, ExitCode::kWrongPassword, "ERROR_INVALID_PASSWORD",
              "the password must have 1 to 32 bytes, also in UTF-8"},
    ErrorWord{0x80090005, ExitCode::kMalformed, "NTE_BAD_DATA",
              "not a PFX document with an integrity value at its end"},
    ErrorWord{0x80092004, ExitCode::kUnsupported, "CRYPT_E_NOT_FOUND",
              "the digest algorithm of the integrity value is not one of the provider's"},
    ErrorWord{0x80090008, ExitCode::kUnsupported, "NTE_BAD_ALGID",
              "the provider does not know the algorithm of the integrity value"},
    ErrorWord{0x80090014, ExitCode::kProvider, "NTE_BAD_PROV_TYPE",
              "the provider is not registered with a valid type"},
    ErrorWord{0x80090017, ExitCode::kProvider, "NTE_PROV_TYPE_NOT_DEF",
              "no provider of the registered type is known"},
    ErrorWord{0x80090018, ExitCode::kProvider, "NTE_PROV_TYPE_ENTRY_BAD",
              "the provider's settings have no usable type"},
    ErrorWord{0x8009001B, ExitCode::kProvider, "NTE_PROV_TYPE_NO_MATCH",
              "the provider is registered with another type"},
    ErrorWord{0x8009001E, ExitCode::kProvider, "NTE_PROV_DLL_NOT_FOUND",
              "the provider's library is not where its settings say"},
    ErrorWord{0x80090019, ExitCode::kProvider, "NTE_KEYSET_NOT_DEF",
              "the provider is not registered"},
    ErrorWord{0x8009001D, ExitCode::kProvider, "NTE_PROVIDER_DLL_FAIL",
              "the provider's library can't be loaded"},
};

}  // namespace

ErrorWord DescribeErrorWord(std::uint32_t value) {
    for (const ErrorWord& word : kErrorWords) {
        if (word.value == value) {
            return word;
        }
    }
    return {value, ExitCode::kOther, "", "the provider failed"};
}

std::string HexWord(std::uint32_t value) {
    std::array<char, 11> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", value);
    return text.data();
}

}  // namespace mvlpfx
