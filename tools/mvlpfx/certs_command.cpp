#include <cstdio>

#include "mvlpfx/certificate_walk.h"
#include "mvlpfx/commands.h"
#include "mvlpfx/der_tags.h"
#include "mvlpfx/der_walk.h"
#include "mvlpfx/document_fault.h"
#include "mvlpfx/document_file.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/handles.h"
#include "mvlpfx/interruption.h"
#include "mvlpfx/report.h"

namespace mvlpfx {

namespace {

constexpr char kGetAgain[] = "get the file again, whole";
constexpr char kTakeAnother[] =
    "name a .cer, .crt or .pem file of a certificate; 'mvlpfx info --tree' shows what any DER file "
    "holds";

nlohmann::ordered_json Describe(PCCERT_CONTEXT certificate) {
    nlohmann::ordered_json row{{"thumbprint", Thumbprint(certificate)},
                               {"subject", SubjectText(certificate)},
                               {"notAfter", DayOf(certificate->pCertInfo->NotAfter)}};
    const std::vector<BYTE> record = KeyProvInfo(certificate);
    if (!record.empty()) {
        const auto* const info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(record.data());
        row["container"] = ToNarrow(info->pwszContainerName);
    }
    return row;
}

void PrintRow(const nlohmann::ordered_json& row) {
    std::printf("%s  %s  %-3s  %s\n", row["thumbprint"].get_ref<const std::string&>().c_str(),
                row["notAfter"].get_ref<const std::string&>().c_str(),
                row.contains("container") ? "key" : "-", Printable(row["subject"]).c_str());
}

struct EncodedCertificate {
    std::vector<BYTE> bytes;
    DocumentPlace place;  // where it begins in the file
};

[[noreturn]] void Throw(const std::string& message, const std::string& advice,
                        std::optional<DocumentPlace> place, DWORD word = 0) {
    ToolError error(ExitCode::kMalformed, message, word, advice);
    error.place = std::move(place);
    throw error;
}

// The certificates of PEM text.
std::vector<EncodedCertificate> DecodePem(std::string_view text) {
    constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----";
    constexpr std::string_view kEnd = "-----END CERTIFICATE-----";
    std::vector<EncodedCertificate> certificates;
    std::size_t end = 0;
    for (std::size_t begin = 0; (begin = text.find(kBegin, end)) != text.npos;) {
        const DocumentPlace place{static_cast<std::uint32_t>(begin), "", std::string(kBegin)};
        end = text.find(kEnd, begin);
        const std::string_view armoured = text.substr(begin, end - begin + kEnd.size());
        const auto length = static_cast<DWORD>(armoured.size());
        DWORD size = 0;
        if (end == text.npos ||
            CryptStringToBinaryA(armoured.data(), length, CRYPT_STRING_BASE64HEADER, nullptr, &size,
                                 nullptr, nullptr) == FALSE) {
            Throw("a PEM block is not closed or holds no base64", kGetAgain, place);
        }
        std::vector<BYTE> encoded(size);
        CryptStringToBinaryA(armoured.data(), length, CRYPT_STRING_BASE64HEADER, encoded.data(),
                             &size, nullptr, nullptr);
        certificates.push_back({std::move(encoded), place});
    }
    return certificates;
}

// The encoded certificates of a file: one in DER or bare base64, or all in PEM.
std::vector<EncodedCertificate> ReadCertificates(const std::string& file) {
    const auto isDer = [](const std::vector<std::uint8_t>& bytes) {
        return !bytes.empty() && bytes[0] == kSequence;
    };
    std::vector<std::uint8_t> bytes = ReadDocument(file);
    const std::optional<DocumentPlace> pem = isDer(bytes) ? std::nullopt : FindPem(bytes);
    if (BeginsAsPfx(bytes)) {
        Throw("a PFX document instead of a certificate",
              "'mvlpfx restore' takes its keys and certificates; 'mvlpfx info' shows what it holds",
              pem ? pem : DocumentPlace{0, "", "SEQUENCE"});
    }
    if (!pem) {
        bytes = WithoutArmour(std::move(bytes));
    }
    if (isDer(bytes)) {
        return {{std::move(bytes), {0, "", "SEQUENCE"}}};
    }
    auto certificates = DecodePem({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    if (certificates.empty()) {
        Throw("no certificate in it, neither DER nor PEM nor base64", kTakeAnother, pem);
    }
    return certificates;
}

std::vector<OwnedCertificate> Decode(const std::vector<EncodedCertificate>& encoded) {
    std::vector<OwnedCertificate> certificates;
    for (const auto& [bytes, place] : encoded) {
        certificates.emplace_back(CertCreateCertificateContext(X509_ASN_ENCODING, bytes.data(),
                                                               static_cast<DWORD>(bytes.size())));
        if (!certificates.back()) {
            const DWORD word = GetLastError();
            Throw("certificate " + std::to_string(certificates.size()) +
                      " of it is no X.509 certificate",
                  WalkDer(bytes).isWhole ? kTakeAnother : kGetAgain, place, word);
        }
    }
    return certificates;
}

std::vector<BYTE> HashOf(const std::string& thumbprint) {
    std::vector<BYTE> hash;
    for (std::size_t i = 0; i < thumbprint.size(); i += 2) {
        hash.push_back(static_cast<BYTE>(std::stoi(thumbprint.substr(i, 2), nullptr, 16)));
    }
    return hash;
}

// Up to the first that can't be, or to a signal; `added` has the thumbprints of what was.
void Add(const std::vector<OwnedCertificate>& certificates, const CertsOptions& options,
         nlohmann::ordered_json* added) {
    const OwnedStore store = OpenSystemStore(options.store, options.machine);
    DeferSignals();
    for (const OwnedCertificate& certificate : certificates) {
        if (PendingSignal() != 0) {
            return;
        }
        RequireCall(CertAddCertificateContextToStore(store.Get(), certificate.Get(),
                                                     CERT_STORE_ADD_USE_EXISTING, nullptr),
                    "can't put a certificate into " + options.store);
        added->push_back(Thumbprint(certificate.Get()));
    }
}

void PrintAdded(const nlohmann::ordered_json& added) {
    for (const auto& thumbprint : added) {
        std::printf("%s\n", thumbprint.get_ref<const std::string&>().c_str());
    }
}

}  // namespace

void RunListCerts(const CertsOptions& options) {
    const OwnedStore store = OpenSystemStore(options.store, options.machine);
    auto rows = nlohmann::ordered_json::array();
    try {
        ForEachCertificate(store.Get(), options.store, [&](PCCERT_CONTEXT certificate) {
            rows.push_back(Describe(certificate));
            if (!options.common.json) {
                PrintRow(rows.back());
            }
        });
    } catch (ToolError& error) {
        error.facts = {{"store", options.store}, {"certificates", std::move(rows)}};
        throw;
    }
    if (options.common.json) {
        auto report = JsonSuccess("certs", options.store);
        report["store"] = options.store;
        report["certificates"] = std::move(rows);
        PrintJson(report);
    }
}

void RunAddCerts(const CertsOptions& options) {
    const std::vector<OwnedCertificate> certificates = Decode(ReadCertificates(options.file));
    auto added = nlohmann::ordered_json::array();
    try {
        Add(certificates, options, &added);
    } catch (ToolError& error) {
        if (!options.common.json) {
            PrintAdded(added);
        }
        error.facts = {{"store", options.store}, {"added", std::move(added)}};
        throw;
    }
    if (options.common.json) {
        auto report = JsonSuccess("certs", options.file);
        report["store"] = options.store;
        report["added"] = std::move(added);
        PrintJson(report);
    } else if (IsTold(options.common.quiet)) {
        PrintAdded(added);
    }
}

void RunDeleteCert(const CertsOptions& options) {
    const std::string thumbprint = ParseThumbprint(options.thumbprint);
    std::vector<BYTE> hash = HashOf(thumbprint);
    const OwnedStore store = OpenSystemStore(options.store, options.machine);
    CRYPT_HASH_BLOB blob{static_cast<DWORD>(hash.size()), hash.data()};
    PCCERT_CONTEXT certificate = CertFindCertificateInStore(store.Get(), X509_ASN_ENCODING, 0,
                                                            CERT_FIND_SHA1_HASH, &blob, nullptr);
    RequireCall(certificate != nullptr, "no such certificate in " + options.store);
    DeferSignals();
    // The call frees the context whatever it answers.
    RequireCall(CertDeleteCertificateFromStore(certificate),
                "can't delete the certificate from " + options.store);
    if (options.common.json) {
        auto report = JsonSuccess("certs", thumbprint);
        report["store"] = options.store;
        report["deleted"] = thumbprint;
        PrintJson(report);
    }
}

}  // namespace mvlpfx
