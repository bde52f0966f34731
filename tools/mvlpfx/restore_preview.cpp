#include "mvlpfx/restore_preview.h"

#include <cstdio>

#include "asn/asn_object_readable.h"
#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "foundation/wide_to_ansi.h"
#include "mvlpfx/certificate_walk.h"
#include "mvlpfx/document_keys.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/password_check.h"
#include "mvlpfx/report.h"
#include "pfximport/bag_attributes.h"
#include "pfximport/bag_identifiers.h"
#include "pfximport/bag_walk.h"
#include "pfximport/certificate_bags.h"
#include "pfximport/certificate_import.h"
#include "schema/pfx_key_bag.h"

namespace mvlpfx {

namespace {

void RequireFit(const std::vector<std::uint8_t>& document, const Secret<wchar_t>& password,
                bool quiet) {
    const std::uint32_t error = VerifyDocument(document, password, quiet);
    if (error != 0) {
        const ErrorWord word = DescribeErrorWord(error);
        throw ToolError(word.exitCode, word.meaning, error);
    }
}

// The document's certificates, decrypted into `content` and added to a store in memory.
OwnedStore DecryptCertificates(const pkisdk::DerList& list, const Secret<wchar_t>& password,
                               pkisdk::DerList* content) {
    std::string ansi;
    pkisdk::WideToAnsi(password.Text().c_str(), &ansi);
    OwnedStore store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    const bool isDone =
        store && pkisdk::AddPfxCertsToStore(ansi.c_str(), list, store.Get(), content) != 0;
    const DWORD error = GetLastError();
    SecureZeroMemory(ansi.data(), ansi.size());
    if (!isDone) {
        SetLastError(error);
        ThrowDocumentError("can't read the certificates");
    }
    return store;
}

nlohmann::ordered_json DescribeKey(const pkisdk::DerList& structure, std::uint32_t ordinal,
                                   pkisdk::CertificateBags* bags) {
    pkisdk::Blob bytes;
    PfxKeyBag bag;
    pkisdk::BagAttributes attributes;
    if (pkisdk::FlattenSubtree(structure, 0, &bytes) != 0) {
        bag.DeserializeFromAsnObject(pkisdk::asn::AsnObjectReadable::FromBlob(bytes), "key bag");
        pkisdk::ReadBagAttributes(bag.atributes, &attributes);
    }
    nlohmann::ordered_json row{{"number", ordinal}};
    if (attributes.containerName) {
        row["name"] = *attributes.containerName;
    }
    const pkisdk::CertContext certificate = bags->FindForKey(attributes.localKeyId, ordinal);
    if (certificate) {
        row["thumbprint"] = Thumbprint(certificate.Get());
    }
    return row;
}

nlohmann::ordered_json DescribeKeys(const pkisdk::DerList& list, const pkisdk::DerList& content) {
    auto rows = nlohmann::ordered_json::array();
    pkisdk::CertificateBags bags(content);
    pkisdk::BagWalk walk(list, pkisdk::kShroudedKeyBagOid);
    pkisdk::DerList structure;
    while (walk.Next(&structure)) {
        rows.push_back(DescribeKey(structure, static_cast<std::uint32_t>(rows.size() + 1), &bags));
    }
    return rows;
}

nlohmann::ordered_json DescribeCertificates(HCERTSTORE store) {
    auto rows = nlohmann::ordered_json::array();
    ForEachCertificate(store, "memory", [&](PCCERT_CONTEXT certificate) {
        rows.push_back(
            {{"thumbprint", Thumbprint(certificate)}, {"subject", SubjectText(certificate)}});
    });
    return rows;
}

void PrintRows(const nlohmann::ordered_json& keys, const nlohmann::ordered_json& certificates) {
    for (const auto& key : keys) {
        const std::string name = Printable(key.value("name", ""));
        const std::string certificate = key.value("thumbprint", "no certificate");
        std::printf("would restore key %u  %s%s%s\n", key["number"].get<unsigned>(),
                    certificate.c_str(), name.empty() ? "" : "  named ", name.c_str());
    }
    for (const auto& certificate : certificates) {
        std::printf("would restore certificate  %s  %s\n",
                    certificate["thumbprint"].get_ref<const std::string&>().c_str(),
                    Printable(certificate["subject"]).c_str());
    }
}

}  // namespace

void PreviewRestore(const RestoreOptions& options, const std::vector<std::uint8_t>& document,
                    const Secret<wchar_t>& password) {
    RequireFit(document, password, options.common.quiet);
    pkisdk::DerList list;
    pkisdk::ParseDerList(document.data(), static_cast<std::int32_t>(document.size()), &list);
    pkisdk::DerList content;
    const OwnedStore store = DecryptCertificates(list, password, &content);
    const std::string malformed = FindMalformedPart(document);
    if (!malformed.empty()) {
        throw ToolError(ExitCode::kMalformed, malformed, static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));
    }
    const auto keys = DescribeKeys(list, content);
    const auto certificates = DescribeCertificates(store.Get());
    if (options.common.json) {
        auto report = JsonReport("restore");
        report["subject"] = options.file;
        report["exitCode"] = 0;
        report["dryRun"] = true;
        report["keys"] = keys;
        report["certificates"] = certificates;
        PrintJson(report);
    } else if (!options.common.quiet) {
        PrintRows(keys, certificates);
    }
}

}  // namespace mvlpfx
