#include <algorithm>
#include <array>
#include <cstdio>
#include <set>

#include "mvlpfx/certificate_walk.h"
#include "mvlpfx/commands.h"
#include "mvlpfx/document_file.h"
#include "mvlpfx/document_keys.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/handles.h"
#include "mvlpfx/mvlpfx.h"
#include "mvlpfx/output_file.h"
#include "mvlpfx/report.h"
#include "mvlpfx/spinner.h"

namespace mvlpfx {

namespace {

constexpr DWORD kNamesFlag = 0x10;

bool Contains(const std::vector<std::string>& texts, const std::string& text) {
    return std::ranges::find(texts, text) != texts.end();
}

std::string ContainerOf(PCCERT_CONTEXT certificate) {
    const std::vector<BYTE> record = KeyProvInfo(certificate);
    if (record.empty()) {
        return {};
    }
    const auto* const info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(record.data());
    return info->pwszContainerName == nullptr ? "" : ToNarrow(info->pwszContainerName);
}

// A container is named as people know it; certificates record its unique name.
std::vector<std::string> UniqueNames(const std::vector<std::string>& containers) {
    std::vector<std::string> names;
    for (const std::string& container : containers) {
        OwnedContext context;
        RequireCall(AcquireContext(container.c_str(), 0, false, &context),
                    "can't open the container '" + container + "'");
        names.push_back(TextParameter(context.Get(), PP_UNIQUE_CONTAINER));
    }
    return names;
}

// Which certificates of "MY" are meant: all, unless something names some.
class Selection {
  public:
    explicit Selection(const CreateOptions& options)
        : options_(options), containers_(UniqueNames(options.containers)) {
        for (const std::string& thumbprint : options.thumbprints) {
            thumbprints_.push_back(ParseThumbprint(thumbprint));
        }
    }

    bool Takes(PCCERT_CONTEXT certificate) const {
        const bool takesAll =
            options_.subjects.empty() && thumbprints_.empty() && containers_.empty();
        const std::string container = ContainerOf(certificate);
        return takesAll || Contains(thumbprints_, Thumbprint(certificate)) ||
               std::ranges::any_of(
                   options_.subjects,
                   [&](const std::string& text) { return SubjectContains(certificate, text); }) ||
               (!container.empty() &&
                (Contains(containers_, container) || Contains(options_.containers, container)));
    }

  private:
    const CreateOptions& options_;
    std::vector<std::string> containers_;
    std::vector<std::string> thumbprints_;
};

OwnedCertificate AddTo(HCERTSTORE store, PCCERT_CONTEXT certificate) {
    PCCERT_CONTEXT added = nullptr;
    RequireCall(
        CertAddCertificateContextToStore(store, certificate, CERT_STORE_ADD_USE_EXISTING, &added),
        "can't gather the certificates");
    return OwnedCertificate(added);
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

// The issuers of a certificate, from "CA" and "ROOT", as far up as they are there.
void AddIssuers(HCERTSTORE gathered, PCCERT_CONTEXT certificate) {
    const OwnedStore ca = OpenSystemStore("CA", false);
    const OwnedStore root = OpenSystemStore("ROOT", false);
    std::set<std::string> passed;
    OwnedCertificate subject(CertDuplicateCertificateContext(certificate));
    while (passed.insert(Thumbprint(subject.Get())).second) {
        DWORD flags = 0;
        OwnedCertificate issuer(
            CertGetIssuerCertificateFromStore(ca.Get(), subject.Get(), nullptr, &flags));
        if (!issuer) {
            flags = 0;
            issuer = OwnedCertificate(
                CertGetIssuerCertificateFromStore(root.Get(), subject.Get(), nullptr, &flags));
        }
        if (!issuer) {
            return;
        }
        AddTo(gathered, issuer.Get());
        subject = std::move(issuer);
    }
}

OwnedStore Gather(const CreateOptions& options) {
    const Selection selection(options);
    const OwnedStore my = OpenSystemStore("MY", false);
    OwnedStore gathered(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    RequireCall(gathered ? TRUE : FALSE, "can't gather the certificates");
    std::size_t count = 0;
    ForEachCertificate(my.Get(), "MY", [&](PCCERT_CONTEXT certificate) {
        if (!selection.Takes(certificate)) {
            return;
        }
        ++count;
        AddTo(gathered.Get(), certificate);
        if (options.chain) {
            AddIssuers(gathered.Get(), certificate);
        }
    });
    if (count == 0) {
        throw ToolError(ExitCode::kOther, "no certificate of MY is meant by this", 0,
                        "'mvlpfx certs' lists them; name one with --subject, --thumbprint or "
                        "--container, or make one with 'mvlpfx new'");
    }
    return gathered;
}

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

Secret<wchar_t> AnyPassword() {
    Secret<wchar_t> password(1);
    password.Text() = L"-";
    return password;
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

// A container without a PIN would take one that it is given for its own from then on.
void GivePinWhereAsked(HCERTSTORE store, const Secret<char>& pin) {
    ForEachCertificate(store, "memory", [&](PCCERT_CONTEXT certificate) {
        if (AsksForPin(certificate)) {
            SetPin(certificate, pin);
        }
    });
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

// The container's name as people know it, or as the certificate records it where it can't be
// opened; empty where it records none.
std::string KnownContainerOf(PCCERT_CONTEXT certificate) {
    const std::vector<BYTE> record = KeyProvInfo(certificate);
    const std::string recorded = ContainerOf(certificate);
    if (recorded.empty()) {
        return {};
    }
    const DWORD flags = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(record.data())->dwFlags;
    OwnedContext context;
    const bool isOpen =
        AcquireContext(recorded.c_str(), 0, (flags & CRYPT_MACHINE_KEYSET) != 0, &context);
    const std::string known = isOpen ? TextParameter(context.Get(), PP_CONTAINER) : "";
    return known.empty() ? recorded : known;
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
        error->lines.push_back(Thumbprint(certificate) + " " + SubjectText(certificate) +
                               (container.empty() ? "" : ", container " + container));
    });
    if (!rows.empty()) {
        error->facts["refused"] = std::move(rows);
    }
}

std::vector<std::uint8_t> CreateDocument(HCERTSTORE store, const Secret<wchar_t>& password,
                                         DWORD flags) {
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

// A certificate whose key can't be reached, and the reason: 0 where the provider has none.
struct Keyless {
    std::string thumbprint;
    std::string subject;
    DWORD reason;
};

struct Contents {
    std::size_t certificates = 0;
    std::size_t keys = 0;
    std::vector<Keyless> keyless;
};

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

// A number without a key would keep the keys behind it from finding their certificates in a
// restore, so what has no key is not numbered.
void ForgetKeys(HCERTSTORE store, const std::set<std::uint32_t>& reached) {
    std::uint32_t number = 0;
    ForEachCertificate(store, "memory", [&](PCCERT_CONTEXT certificate) {
        if (!KeyProvInfo(certificate).empty() && !reached.contains(++number)) {
            CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, nullptr);
        }
    });
}

// Keys are numbered by the certificates that name one, in the store's order.
Contents CompareWith(HCERTSTORE store, const std::vector<std::uint8_t>& document) {
    const std::set<std::uint32_t> numbers = KeyNumbers(document);
    Contents contents;
    contents.keys = numbers.size();
    std::uint32_t number = 0;
    ForEachCertificate(store, "memory", [&](PCCERT_CONTEXT certificate) {
        ++contents.certificates;
        if (!KeyProvInfo(certificate).empty() && !numbers.contains(++number)) {
            contents.keyless.push_back(
                {Thumbprint(certificate), SubjectText(certificate), ReasonOf(certificate)});
        }
    });
    return contents;
}

nlohmann::ordered_json JsonOf(const std::vector<Keyless>& keyless) {
    auto rows = nlohmann::ordered_json::array();
    for (const Keyless& one : keyless) {
        nlohmann::ordered_json row{{"thumbprint", one.thumbprint},
                                   {"subject", one.subject},
                                   {"errorWord", nullptr},
                                   {"errorName", nullptr}};
        if (one.reason != 0) {
            row["errorWord"] = HexWord(one.reason);
            row["errorName"] = NameOfErrorWord(one.reason);
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

std::string LineOf(const Keyless& keyless) {
    return keyless.subject + ": " +
           (keyless.reason == 0 ? "no key that the provider has"
                                : DescribePlaceWord(keyless.reason).meaning);
}

[[noreturn]] void ThrowMissingKeys(const Contents& contents) {
    const DWORD reason = contents.keyless.front().reason;
    const std::string advice = reason == 0 ? "" : DescribePlaceWord(reason).advice;
    ToolError error(
        ExitCode::kProvider, "nothing written, since these certificates' keys can't be reached",
        reason,
        advice + (advice.empty() ? "" : "; or ") + "leave the keys out with --allow-missing-keys");
    for (const Keyless& one : contents.keyless) {
        error.lines.push_back(LineOf(one));
    }
    error.facts["withoutKey"] = JsonOf(contents.keyless);
    throw error;
}

void Report(const CreateOptions& options, const Contents& contents) {
    if (options.common.json) {
        auto report = JsonSuccess("create", options.output);
        report["keys"] = contents.keys;
        report["certificates"] = contents.certificates;
        report["withoutKey"] = JsonOf(contents.keyless);
        PrintJson(report);
    } else if (!options.common.quiet) {
        std::printf("%s: %s, %s\n", Printable(options.output).c_str(),
                    CountText(contents.keys, "key").c_str(),
                    CountText(contents.certificates, "certificate").c_str());
        for (const Keyless& one : contents.keyless) {
            std::printf("left out the key of %s\n", Printable(LineOf(one)).c_str());
        }
    }
}

std::vector<std::uint8_t> CreateWithSpinner(const CreateOptions& options, HCERTSTORE store,
                                            const Secret<wchar_t>& password) {
    std::vector<std::uint8_t> document;
    RunWithSpinner(
        [&] { document = CreateDocument(store, password, options.names ? kNamesFlag : 0); },
        options.common.quiet);
    return document;
}

// The document, and what is in it; throws where keys are lacking that may not be.
std::vector<std::uint8_t> CreateWhole(const CreateOptions& options, HCERTSTORE store,
                                      const Secret<wchar_t>& password, Contents* contents) {
    std::vector<std::uint8_t> document = CreateWithSpinner(options, store, password);
    *contents = CompareWith(store, document);
    if (!contents->keyless.empty() && !options.allowMissingKeys) {
        ThrowMissingKeys(*contents);
    }
    return document;
}

// A person is not asked for a password of a document that can't be made under any.
void RequireCreatable(const CreateOptions& options, HCERTSTORE store) {
    Contents contents;
    CreateWhole(options, store, AnyPassword(), &contents);
}

}  // namespace

void RunCreate(const CreateOptions& options) {
    const OwnedStore store = Gather(options);
    if (options.pin.IsNamed()) {
        GivePinWhereAsked(store.Get(), ReadPin(options.pin));
    }
    RequireWritable(options.output, options.force);
    if (!options.password.IsNamed()) {
        RequireCreatable(options, store.Get());
    }
    const Secret<wchar_t> password =
        ReadNewPassword(options.password, "Password for the document: ");
    Contents contents;
    std::vector<std::uint8_t> document = CreateWhole(options, store.Get(), password, &contents);
    if (!contents.keyless.empty()) {
        ForgetKeys(store.Get(), KeyNumbers(document));
        document = CreateWithSpinner(options, store.Get(), password);
    }
    if (options.pem) {
        document = PemOf(document, "PKCS12");
    }
    WriteOutputFile(options.output, document, options.force);
    Report(options, contents);
}

}  // namespace mvlpfx
