#include "mvlpfx/keyless_certificates.h"

#include <set>

#include "mvlpfx/certificate_choice.h"
#include "mvlpfx/certificate_walk.h"
#include "mvlpfx/document_keys.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

namespace {

// Reaches for the key as the module did.
DWORD ReasonOf(PCCERT_CONTEXT certificate) {
    HCRYPTPROV provider = 0;
    DWORD keySpec = 0;
    BOOL isCallers = FALSE;
    if (CryptAcquireCertificatePrivateKey(certificate, CRYPT_ACQUIRE_USE_PROV_INFO_FLAG, nullptr,
                                          &provider, &keySpec, &isCallers) == FALSE) {
        return GetLastError();
    }
    if (isCallers != FALSE) {
        CryptReleaseContext(provider, 0);
    }
    return 0;
}

}  // namespace

// Keys are numbered by the certificates that name one, in the store's order.
Contents CompareWith(HCERTSTORE store, const std::vector<std::uint8_t>& document) {
    const std::set<std::uint32_t> numbers = KeyNumbers(document);
    Contents contents;
    contents.keys = numbers.size();
    std::uint32_t number = 0;
    ForEachCertificate(store, "memory", [&](PCCERT_CONTEXT certificate) {
        ++contents.certificates;
        if (!KeyProvInfo(certificate).empty() && !numbers.contains(++number)) {
            contents.keyless.push_back({Thumbprint(certificate), SubjectText(certificate),
                                        KnownContainerOf(certificate), ReasonOf(certificate)});
        }
    });
    return contents;
}

// A number without a key would keep the keys behind it from finding their certificates in a
// restore, so what has no key is not numbered.
void ForgetMissingKeys(HCERTSTORE store, const std::vector<std::uint8_t>& document) {
    const std::set<std::uint32_t> reached = KeyNumbers(document);
    std::uint32_t number = 0;
    ForEachCertificate(store, "memory", [&](PCCERT_CONTEXT certificate) {
        if (!KeyProvInfo(certificate).empty() && !reached.contains(++number)) {
            CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, nullptr);
        }
    });
}

nlohmann::ordered_json JsonOf(const std::vector<Keyless>& keyless) {
    auto rows = nlohmann::ordered_json::array();
    for (const Keyless& one : keyless) {
        nlohmann::ordered_json row{{"thumbprint", one.thumbprint},
                                   {"subject", one.subject},
                                   {"container", nullptr},
                                   {"errorWord", nullptr},
                                   {"errorName", nullptr}};
        if (!one.container.empty()) {
            row["container"] = one.container;
        }
        if (one.reason != 0) {
            row["errorWord"] = HexWord(one.reason);
            row["errorName"] = NameOfErrorWord(one.reason);
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

std::string LineOf(const Keyless& keyless) {
    return CertificateLine(keyless.thumbprint, keyless.subject, keyless.container) + ": " +
           (keyless.reason == 0 ? "no key that the provider has"
                                : DescribePlaceWord(keyless.reason).meaning);
}

void ThrowMissingKeys(const Contents& contents) {
    const DWORD reason = contents.keyless.front().reason;
    const std::string advice = reason == 0 ? "" : DescribePlaceWord(reason).advice;
    ToolError error(
        ExitCode::kProvider, "nothing written, since these certificates' keys can't be reached",
        reason,
        advice + (advice.empty() ? "" : "; or ") + "leave the keys out with --allow-missing-keys");
    for (const Keyless& one : contents.keyless) {
        error.lines.push_back(LineOf(one));
    }
    error.facts["refused"] = JsonOf(contents.keyless);
    throw error;
}

}  // namespace mvlpfx
