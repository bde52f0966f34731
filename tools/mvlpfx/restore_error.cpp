#include "mvlpfx/restore_error.h"

#include <optional>
#include <utility>

#include "mvlpfx/document_fault.h"
#include "mvlpfx/document_keys.h"
#include "mvlpfx/document_places.h"
#include "mvlpfx/error_words.h"
#include "platform/cryptoapi.h"

namespace mvlpfx {

namespace {

bool LacksPrfParameters(const std::optional<DocumentPlace>& place) {
    return place && place->path.ends_with(".prf") && place->found.ends_with(" without parameters");
}

ToolError UnknownAlgorithmError(const ErrorWord& word, std::optional<DocumentPlace> place) {
    ToolError error(
        ExitCode::kUnsupported,
        "a key or the certificates are encrypted in a way that the provider does not know",
        word.value,
        "have it made again with GOST 28147-89 and a GOST HMAC: openssl pkcs12 -export -keypbe "
        "gost89 -certpbe gost89 -macalg md_gost12_512");
    error.place = std::move(place);
    return error;
}

ToolError MalformedError(const ErrorWord& word, std::span<const std::uint8_t> document) {
    // Another algorithm's parameters are malformed to the platform.
    if (auto place = FindUnknownParameters(document)) {
        return UnknownAlgorithmError(word, std::move(place));
    }
    const std::string part = FindMalformedPart(document);
    ToolError error(word.exitCode, part.empty() ? word.meaning : word.meaning + (": " + part),
                    word.value, word.advice);
    error.place = FindMisshapen(document);
    if (LacksPrfParameters(error.place)) {
        error.advice =
            "its pseudo-random function (PRF) has no parameters, which GnuTLS leaves out: have it "
            "made again with the NULL there, as OpenSSL's GOST engine writes it";
    }
    return error;
}

// A damaged key looks no different.
ToolError OtherKeyError(const ErrorWord& word, std::optional<DocumentPlace> place) {
    ToolError error(word.exitCode,
                    "a key in the document is no GOST key once it is decrypted, or is damaged",
                    word.value,
                    "the provider takes no keys of other algorithms, as RSA or ECDSA: leave them "
                    "out of the document; if it is a GOST key, get the document again");
    error.place = std::move(place);
    return error;
}

ToolError ErrorOf(const ErrorWord& word, std::span<const std::uint8_t> document,
                  const RestoreTrace& trace) {
    switch (static_cast<HRESULT>(word.value)) {
        case NTE_BAD_DATA: {
            // What has anything behind it is no document for the platform.
            if (const auto trail = FindTrail(document, word.value)) {
                return *trail;
            }
            if (auto place = FindOtherKey(document, trace.containers.size())) {
                return OtherKeyError(word, std::move(place));
            }
            ToolError error(word.exitCode,
                            "the document lacks encrypted certificates or a part for keys, or a "
                            "key in it is damaged",
                            word.value, word.advice);
            error.place = FindLack(document, trace.containers.size());
            return error;
        }
        case NTE_BAD_ALGID:
            return UnknownAlgorithmError(word, FindUnknownAlgorithm(document));
        case CRYPT_E_ASN1_CORRUPT:
            return MalformedError(word, document);
        default:
            return {word.exitCode,
                    word.exitCode == ExitCode::kFile
                        ? "can't make a container in " + trace.folder + ": " + word.meaning
                        : word.meaning,
                    word.value, word.advice};
    }
}

}  // namespace

ToolError MakeRestoreError(std::uint32_t word, std::span<const std::uint8_t> document,
                           const RestoreTrace& trace) {
    ToolError error = ErrorOf(DescribeErrorWord(word), document, trace);
    for (const std::string& name : trace.containers) {
        error.lines.push_back("the container " + name + " was made and stays");
    }
    error.facts["containers"] = trace.containers;
    return error;
}

void ThrowRestoreError(std::uint32_t word, std::span<const std::uint8_t> document,
                       const RestoreTrace& trace) {
    throw MakeRestoreError(word, document, trace);
}

}  // namespace mvlpfx
