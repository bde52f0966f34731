#include "mvlpfx/document_maker.h"

#include <algorithm>
#include <array>

#include "mvlpfx/certificate_choice.h"
#include "mvlpfx/certificate_walk.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/mvlpfx.h"

namespace mvlpfx {

namespace {

constexpr DWORD kNamesFlag = 0x10;

// Both calls of the size protocol do all of the work, so the first has room for most documents.
// Empty with the reason in the last error.
std::vector<std::uint8_t> TryCreateDocument(HCERTSTORE store, const Secret<wchar_t>& password,
                                            DWORD flags) {
    constexpr std::size_t kUsualRoom = 1U << 20;
    std::vector<std::uint8_t> document(kUsualRoom);
    for (;;) {
        PfxBlob blob{static_cast<DWORD>(document.size()), document.data()};
        if (UzCreatePFX(store, &blob, password.Text().c_str(), flags)) {
            document.resize(blob.cbData);
            return document;
        }
        if (GetLastError() != ERROR_MORE_DATA) {
            return {};
        }
        document.resize(blob.cbData);
    }
}

// The PIN goes with the record of the copy in memory alone, for the provider to be given when it is
// asked for the key.
void SetPin(PCCERT_CONTEXT certificate, const Secret<char>& pin) {
    std::vector<BYTE> record = KeyProvInfo(certificate);
    if (record.empty()) {
        return;
    }
    CRYPT_KEY_PROV_INFO info = *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(record.data());
    CRYPT_KEY_PROV_PARAM parameter{};
    parameter.dwParam = PP_SIGNATURE_PIN;
    parameter.pbData = reinterpret_cast<BYTE*>(const_cast<char*>(pin.Text().c_str()));
    parameter.cbData = static_cast<DWORD>(pin.Text().size() + 1);
    info.cProvParam = 1;
    info.rgProvParam = &parameter;
    RequireCall(
        CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &info),
        "can't present the PIN");
}

// Whether no document can be made of the certificate's key for want of a PIN.
bool AsksForPin(PCCERT_CONTEXT certificate) {
    const OwnedStore alone(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    RequireCall(alone ? TRUE : FALSE, "can't gather the certificates");
    AddTo(alone.Get(), certificate);
    if (!TryCreateDocument(alone.Get(), AnyPassword(), 0).empty()) {
        return false;
    }
    const DWORD word = GetLastError();
    return word == static_cast<DWORD>(SCARD_W_CARD_NOT_AUTHENTICATED) ||
           word == static_cast<DWORD>(NTE_SILENT_CONTEXT);
}

// The words that a single certificate or its key may be the reason of.
bool IsOfOneCertificate(DWORD word) {
    constexpr DWORD kKeyNotExportable = 0x80095000;  // XENROLL_E_KEY_NOT_EXPORTABLE
    constexpr std::array kWords = {static_cast<DWORD>(NTE_BAD_DATA),
                                   static_cast<DWORD>(NTE_BAD_KEY),
                                   static_cast<DWORD>(NTE_BAD_ALGID),
                                   static_cast<DWORD>(NTE_BAD_KEY_STATE),
                                   static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT),
                                   static_cast<DWORD>(SCARD_W_CARD_NOT_AUTHENTICATED),
                                   kKeyNotExportable};
    return std::ranges::find(kWords, word) != kWords.end();
}

// Adds to the error the certificates that alone make no document either, for the same reason.
void AddRefused(HCERTSTORE store, const Secret<wchar_t>& password, DWORD flags, ToolError* error) {
    auto rows = nlohmann::ordered_json::array();
    ForEachCertificate(store, "memory", [&](PCCERT_CONTEXT certificate) {
        const OwnedStore alone(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
        RequireCall(alone ? TRUE : FALSE, "can't gather the certificates");
        AddTo(alone.Get(), certificate);
        if (!TryCreateDocument(alone.Get(), password, flags).empty() ||
            GetLastError() != error->errorWord) {
            return;
        }
        const std::string container = KnownContainerOf(certificate);
        rows.push_back({{"thumbprint", Thumbprint(certificate)},
                        {"subject", SubjectText(certificate)},
                        {"container", container.empty() ? nlohmann::ordered_json()
                                                        : nlohmann::ordered_json(container)}});
        error->lines.push_back(
            CertificateLine(Thumbprint(certificate), SubjectText(certificate), container));
    });
    if (!rows.empty()) {
        error->facts["refused"] = std::move(rows);
    }
}

}  // namespace

Secret<wchar_t> AnyPassword() {
    Secret<wchar_t> password(1);
    password.Text() = L"-";
    return password;
}

// A container without a PIN would take one that it is given for its own from then on.
void GivePinWhereAsked(HCERTSTORE store, const Secret<char>& pin) {
    ForEachCertificate(store, "memory", [&](PCCERT_CONTEXT certificate) {
        if (AsksForPin(certificate)) {
            SetPin(certificate, pin);
        }
    });
}

std::vector<std::uint8_t> MakeDocument(HCERTSTORE store, const Secret<wchar_t>& password,
                                       bool withNames) {
    const DWORD flags = withNames ? kNamesFlag : 0;
    std::vector<std::uint8_t> document = TryCreateDocument(store, password, flags);
    if (document.empty()) {
        const ErrorWord word = DescribeMadeWord(GetLastError());
        ToolError error(word.exitCode, std::string("can't make the document: ") + word.meaning,
                        word.value, word.advice);
        if (IsOfOneCertificate(word.value)) {
            AddRefused(store, password, flags, &error);
        }
        throw error;
    }
    return document;
}

}  // namespace mvlpfx
