#include "mvlpfx/restore_error.h"

#include "mvlpfx/document_keys.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/report.h"
#include "platform/cryptoapi.h"

namespace mvlpfx {

namespace {

std::string MeaningOf(const ErrorWord& word, std::span<const std::uint8_t> document) {
    switch (static_cast<HRESULT>(word.value)) {
        case NTE_BAD_DATA:
            return "the document lacks encrypted certificates or a part for keys, or a key in it "
                   "is damaged";
        case NTE_BAD_ALGID:
            return "a key or the certificates are encrypted in a way that the provider does not "
                   "know";
        case CRYPT_E_ASN1_CORRUPT: {
            const std::string part = FindMalformedPart(document);
            return part.empty() ? word.meaning : word.meaning + (": " + part);
        }
        default:
            return word.meaning;
    }
}

}  // namespace

void ThrowRestoreError(std::uint32_t error, std::span<const std::uint8_t> document,
                       const std::vector<std::string>& made) {
    const ErrorWord word = DescribeErrorWord(error);
    std::string message = MeaningOf(word, document);
    for (const std::string& name : made) {
        message += "\n  the container " + Printable(name) + " was made and stays";
    }
    throw ToolError(word.exitCode, message, error);
}

}  // namespace mvlpfx
