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
    ErrorWord{0x80093103, ExitCode::kMalformed, "CRYPT_E_ASN1_CORRUPT",
              "an encrypted part of the document is malformed"},
    ErrorWord{0x80095000, ExitCode::kProvider, "XENROLL_E_KEY_NOT_EXPORTABLE",
              "a key is not exportable"},
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

// What calls on containers and stores mean by the same words, or by words of their own.
constexpr std::array kPlaceWords = {
    ErrorWord{0x8009000F, ExitCode::kExists, "NTE_EXISTS", "it exists already"},
    ErrorWord{0x80092005, ExitCode::kExists, "CRYPT_E_EXISTS", "it exists already"},
    ErrorWord{0x80090016, ExitCode::kProvider, "NTE_BAD_KEYSET", "there is no such container"},
    ErrorWord{0x8009001A, ExitCode::kProvider, "NTE_KEYSET_ENTRY_BAD",
              "the container's file is damaged"},
    ErrorWord{0x8009001F, ExitCode::kUsage, "NTE_BAD_KEYSET_PARAM",
              "the name is no container's: too long, or with characters that none has"},
    ErrorWord{0x80090010, ExitCode::kProvider, "NTE_PERM",
              "the container's file is another user's, or open to others"},
    ErrorWord{0x80090005, ExitCode::kUsage, "NTE_BAD_DATA", "the provider does not take it"},
    ErrorWord{0x80090022, ExitCode::kProvider, "NTE_SILENT_CONTEXT",
              "a container has a PIN, and none was given"},
    ErrorWord{0x8010006F, ExitCode::kProvider, "SCARD_W_CARD_NOT_AUTHENTICATED",
              "a container has a PIN, and none was given"},
    ErrorWord{0x8010006B, ExitCode::kProvider, "SCARD_W_WRONG_CHV", "the PIN is wrong"},
    ErrorWord{0x80092004, ExitCode::kProvider, "CRYPT_E_NOT_FOUND", "it is not there"},
    ErrorWord{0x80092003, ExitCode::kFile, "CRYPT_E_FILE_ERROR", "a file is damaged"},
    ErrorWord{2, ExitCode::kFile, "ERROR_FILE_NOT_FOUND", "a file or folder is missing"},
    ErrorWord{3, ExitCode::kFile, "ERROR_PATH_NOT_FOUND", "a folder can't be made"},
    ErrorWord{5, ExitCode::kFile, "ERROR_ACCESS_DENIED", "no right to the file or folder"},
    ErrorWord{19, ExitCode::kFile, "ERROR_WRITE_PROTECT", "the disk is read-only"},
    ErrorWord{112, ExitCode::kFile, "ERROR_DISK_FULL", "the disk is full"},
};

template <std::size_t kSize>
const ErrorWord* Find(const std::array<ErrorWord, kSize>& words, std::uint32_t value) {
    for (const ErrorWord& word : words) {
        if (word.value == value) {
            return &word;
        }
    }
    return nullptr;
}

ErrorWord FirstOf(const ErrorWord* first, const ErrorWord* second, std::uint32_t value) {
    if (first != nullptr || second != nullptr) {
        return first != nullptr ? *first : *second;
    }
    return {value, ExitCode::kOther, "", "the provider failed"};
}

}  // namespace

ErrorWord DescribeErrorWord(std::uint32_t value) {
    return FirstOf(Find(kErrorWords, value), Find(kPlaceWords, value), value);
}

ErrorWord DescribePlaceWord(std::uint32_t value) {
    return FirstOf(Find(kPlaceWords, value), Find(kErrorWords, value), value);
}

const char* NameOfErrorWord(std::uint32_t value) {
    return DescribePlaceWord(value).name;
}

std::string HexWord(std::uint32_t value) {
    std::array<char, 11> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", value);
    return text.data();
}

}  // namespace mvlpfx
