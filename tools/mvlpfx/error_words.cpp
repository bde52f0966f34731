#include "mvlpfx/error_words.h"

#include <array>
#include <cerrno>
#include <cstdio>

namespace mvlpfx {

namespace {

constexpr char kReinstall[] =
    "install the provider again, or mend its entry in the settings (FILES of mvlpfx(1))";
constexpr char kGivePin[] = "give it with --pin-file, --pin-fd or --pin-env";
constexpr char kListContainers[] = "'mvlpfx keys' lists the containers; --machine the machine's";
constexpr char kChooseOthers[] =
    "leave it out: choose others with --thumbprint, --subject or --container";
constexpr char kMakeAnew[] =
    "get the document again, or have it made again; 'mvlpfx info --tree' shows what it holds";

constexpr std::array kErrorWords = {
    ErrorWord{0x8009001A, ExitCode::kWrongPassword, "NTE_KEYSET_ENTRY_BAD",
              "wrong password, or the document was changed",
              "try the password again, minding keyboard layout and capitals; if it is the right "
              "one, get the document again"},
    ErrorWord{86, ExitCode::kWrongPassword, "ERROR_INVALID_PASSWORD",
              "the password must have 1 to 32 bytes, also in UTF-8",
              "take another password, or have the document made again with one; a letter outside "
              "ASCII counts as two bytes or more"},
    ErrorWord{0x80090005, ExitCode::kMalformed, "NTE_BAD_DATA",
              "not a PFX document with an integrity value at its end", kMakeAnew},
    ErrorWord{0x80092004, ExitCode::kUnsupported, "CRYPT_E_NOT_FOUND",
              "the digest algorithm of the integrity value is not one of the provider's",
              "have the document made again with a GOST digest"},
    ErrorWord{0x80090008, ExitCode::kUnsupported, "NTE_BAD_ALGID",
              "the provider does not know the algorithm of the integrity value",
              "have the document made again with a GOST digest"},
    ErrorWord{0x80093103, ExitCode::kMalformed, "CRYPT_E_ASN1_CORRUPT",
              "an encrypted part of the document is malformed", kMakeAnew},
    ErrorWord{0x80095000, ExitCode::kProvider, "XENROLL_E_KEY_NOT_EXPORTABLE",
              "a key is not exportable",
              "'mvlpfx keys' shows which are, --machine the machine's; take these, each with "
              "--container and its name, or restore the key again, or make another, with "
              "--exportable"},
    ErrorWord{0x80090014, ExitCode::kProvider, "NTE_BAD_PROV_TYPE",
              "the provider is not registered with a valid type", kReinstall},
    ErrorWord{0x80090017, ExitCode::kProvider, "NTE_PROV_TYPE_NOT_DEF",
              "no provider of the registered type is known", kReinstall},
    ErrorWord{0x80090018, ExitCode::kProvider, "NTE_PROV_TYPE_ENTRY_BAD",
              "the provider's settings have no usable type", kReinstall},
    ErrorWord{0x8009001B, ExitCode::kProvider, "NTE_PROV_TYPE_NO_MATCH",
              "the provider is registered with another type", kReinstall},
    ErrorWord{0x8009001E, ExitCode::kProvider, "NTE_PROV_DLL_NOT_FOUND",
              "the provider's library is not where its settings say", kReinstall},
    ErrorWord{0x80090019, ExitCode::kProvider, "NTE_KEYSET_NOT_DEF",
              "the provider is not registered", kReinstall},
    ErrorWord{0x8009001D, ExitCode::kProvider, "NTE_PROVIDER_DLL_FAIL",
              "the provider's library can't be loaded", kReinstall},
    ErrorWord{0x80090003, ExitCode::kUnsupported, "NTE_BAD_KEY", "a key's algorithm can't be read",
              "only GOST keys go into a document; choose others with --container"},
    ErrorWord{0x80090020, ExitCode::kOther, "NTE_FAIL",
              "a store can't be opened, or the provider failed",
              "look at the folders under FILES in mvlpfx(1), and at the system log"},
    ErrorWord{0x80090027, ExitCode::kOther, "NTE_INVALID_PARAMETER",
              "there is no provider or no store", kReinstall},
    ErrorWord{8, ExitCode::kOther, "ERROR_NOT_ENOUGH_MEMORY", "out of memory", ""},
    ErrorWord{0x8009000E, ExitCode::kOther, "NTE_NO_MEMORY", "out of memory", ""},
};

// What calls on containers and stores mean by the same words, or by words of their own.
constexpr std::array kPlaceWords = {
    ErrorWord{0x8009000F, ExitCode::kExists, "NTE_EXISTS", "it exists already",
              "choose another name with --container, or delete it with 'mvlpfx keys delete'"},
    ErrorWord{0x80092005, ExitCode::kExists, "CRYPT_E_EXISTS", "it exists already",
              "delete it first with 'mvlpfx certs delete'"},
    ErrorWord{0x80090016, ExitCode::kProvider, "NTE_BAD_KEYSET", "there is no such container",
              kListContainers},
    ErrorWord{0x8009001A, ExitCode::kProvider, "NTE_KEYSET_ENTRY_BAD",
              "the container's file is damaged",
              "put the file back from a backup, or restore the key from a document"},
    ErrorWord{0x8009001F, ExitCode::kUsage, "NTE_BAD_KEYSET_PARAM",
              "the name is no container's: too long, or with characters that none has",
              "choose a shorter name of letters, digits and signs"},
    ErrorWord{0x80090010, ExitCode::kProvider, "NTE_PERM",
              "the container's file or folder is another user's, or open to others",
              "make file and folder yours, their modes 0600 and 0700"},
    ErrorWord{0x80090005, ExitCode::kUsage, "NTE_BAD_DATA", "the provider does not take it", ""},
    ErrorWord{0x80090008, ExitCode::kUnsupported, "NTE_BAD_ALGID",
              "the provider has no such algorithm, or none on that curve",
              "leave --curve out, or name one of the algorithm's size"},
    ErrorWord{0x80090022, ExitCode::kProvider, "NTE_SILENT_CONTEXT",
              "a container has a PIN, and none was given", kGivePin},
    ErrorWord{0x8010006F, ExitCode::kProvider, "SCARD_W_CARD_NOT_AUTHENTICATED",
              "a container has a PIN, and none was given", kGivePin},
    ErrorWord{0x8010006B, ExitCode::kProvider, "SCARD_W_WRONG_CHV", "the PIN is wrong",
              "give the PIN that the container was made with, by --pin-file, --pin-fd or "
              "--pin-env"},
    ErrorWord{0x80090004, ExitCode::kProvider, "NTE_BAD_LEN",
              "a key or a certificate is too large for a container",
              "make or get a smaller one; a container's file has 1 MiB at most"},
    ErrorWord{0x80092004, ExitCode::kProvider, "CRYPT_E_NOT_FOUND", "it is not there",
              "'mvlpfx certs' lists what is there; --store and --machine name another store"},
    ErrorWord{0x80092003, ExitCode::kFile, "CRYPT_E_FILE_ERROR", "a file is damaged",
              "put the file back from a backup, or remove it"},
    ErrorWord{2, ExitCode::kFile, "ERROR_FILE_NOT_FOUND", "a file or folder is missing",
              "look whether VELMORIX_HOME and the settings name the right place"},
    ErrorWord{3, ExitCode::kFile, "ERROR_PATH_NOT_FOUND", "a folder can't be made",
              "look for a file in its place, and whether VELMORIX_HOME names the right one"},
    ErrorWord{5, ExitCode::kFile, "ERROR_ACCESS_DENIED", "no right to the file or folder",
              "look at its owner and mode, or run as its owner"},
    ErrorWord{19, ExitCode::kFile, "ERROR_WRITE_PROTECT", "the disk is read-only",
              "mount it for writing, or name another place with VELMORIX_HOME"},
    ErrorWord{112, ExitCode::kFile, "ERROR_DISK_FULL", "the disk is full",
              "make room, or name another place with VELMORIX_HOME"},
    ErrorWord{4, ExitCode::kFile, "ERROR_TOO_MANY_OPEN_FILES", "too many files are open",
              "raise the limit (ulimit -n)"},
};

// What the words on documents mean of one that is made.
constexpr std::array kMadeWords = {
    ErrorWord{0x80090005, ExitCode::kOther, "NTE_BAD_DATA",
              "a certificate can't be written so that it is read again, or there are more than 516 "
              "keys",
              "choose others or fewer with --thumbprint, --subject or --container"},
    ErrorWord{0x80090008, ExitCode::kUnsupported, "NTE_BAD_ALGID", "a key is no GOST key",
              kChooseOthers},
    ErrorWord{0x8009000B, ExitCode::kProvider, "NTE_BAD_KEY_STATE",
              "the provider gives a key out in a form that no document has", kChooseOthers},
    ErrorWord{0x80093103, ExitCode::kOther, "CRYPT_E_ASN1_CORRUPT",
              "a key or a certificate can't be encoded", kChooseOthers},
    ErrorWord{0x80090027, ExitCode::kOther, "NTE_INVALID_PARAMETER",
              "there is no certificate to write",
              "'mvlpfx certs' lists those that there are, --machine the machine's"},
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

// What an HRESULT says of a system's error word; other values are words themselves.
std::uint32_t Unwrapped(std::uint32_t value) {
    constexpr std::uint32_t kSystemMask = 0xFFFF0000;
    constexpr std::uint32_t kOfSystem = 0x80070000;
    return (value & kSystemMask) == kOfSystem ? value & ~kSystemMask : value;
}

ErrorWord FirstOf(const ErrorWord* first, const ErrorWord* second, std::uint32_t value) {
    if (first != nullptr || second != nullptr) {
        return first != nullptr ? *first : *second;
    }
    return {value, ExitCode::kOther, "", "the provider failed", ""};
}

}  // namespace

ErrorWord DescribeErrorWord(std::uint32_t value) {
    return FirstOf(Find(kErrorWords, value), Find(kPlaceWords, value), value);
}

ErrorWord DescribePlaceWord(std::uint32_t value) {
    const std::uint32_t word = Unwrapped(value);
    return FirstOf(Find(kPlaceWords, word), Find(kErrorWords, word), value);
}

ErrorWord DescribeMadeWord(std::uint32_t value) {
    const ErrorWord* const made = Find(kMadeWords, value);
    return made != nullptr ? *made : DescribePlaceWord(value);
}

ErrorWord DescribePinLength() {
    return {0x80090004, ExitCode::kUsage, "NTE_BAD_LEN", "a PIN has 1 to 255 bytes",
            "give another PIN; a letter outside ASCII counts as two bytes or more"};
}

const char* NameOfErrorWord(std::uint32_t value) {
    return DescribePlaceWord(value).name;
}

const char* AdviceOfErrno(int error) {
    switch (error) {
        case ENOENT:
        case ENOTDIR:
            return "look for the name, and for its folders";
        case EACCES:
        case EPERM:
            return "look at its owner and mode and at its folders', or run as its owner";
        case EBADF:
            return "open it for reading where the command is started, as '5<FILE' does for 5";
        case EISDIR:
            return "name a file, not a folder";
        case ENOSPC:
#ifdef EDQUOT  // Windows knows no quota here.
        case EDQUOT:
#endif
            return "make room, or name another place";
        case EROFS:
            return "mount it for writing, or name another place";
        case EIO:
            return "look after the disk, and name another place";
        default:
            return "";
    }
}

std::string HexWord(std::uint32_t value) {
    std::array<char, 11> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", value);
    return text.data();
}

}  // namespace mvlpfx
