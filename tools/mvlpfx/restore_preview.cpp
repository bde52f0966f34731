#include "mvlpfx/restore_preview.h"

#include <cstdio>

#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "foundation/exception.h"
#include "mvlpfx/certificate_walk.h"
#include "mvlpfx/document_contents.h"
#include "mvlpfx/document_keys.h"
#include "mvlpfx/password_check.h"
#include "mvlpfx/report.h"
#include "mvlpfx/restore_error.h"
#include "pfximport/bag_attributes.h"
#include "pfximport/bag_encryption.h"
#include "pfximport/bag_identifiers.h"
#include "pfximport/certificate_bags.h"
#include "schema/pfx_key_bag.h"

namespace mvlpfx {

namespace {

void RequireFit(const std::vector<std::uint8_t>& document, const Secret<wchar_t>& password,
                bool quiet) {
    const std::uint32_t error = VerifyDocument(document, password, quiet);
    if (error != 0) {
        ThrowVerifyError(error);
    }
}

nlohmann::ordered_json DescribeKey(const pkisdk::BagAttributes& attributes, std::uint32_t ordinal,
                                   pkisdk::CertificateBags* bags) {
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

// The error word with which the restore would end at the key; 0 where it would go on. Throws what
// the schema throws.
DWORD CheckKey(const PfxKeyBag& bag, pkisdk::BagAttributes* attributes) {
    pkisdk::BagEncryption encryption;
    const DWORD unknown = pkisdk::ReadBagEncryption(bag.pfxKeyInfo.PBES2Sheme, &encryption);
    if (unknown != 0) {
        return unknown;
    }
    return pkisdk::ReadBagAttributes(bag.atributes, attributes);
}

// Sets the error word of the first key at which the restore would end. Throws what the schema
// throws, perhaps behind that key.
void DescribeKeys(pkisdk::DerList list, const pkisdk::DerList& content,
                  nlohmann::ordered_json* rows, DWORD* error) {
    pkisdk::DerList second;
    if (pkisdk::FindNthByOid(&list, pkisdk::kDataOid, 2, &second) == 0) {
        *error = static_cast<DWORD>(NTE_BAD_DATA);
        return;
    }
    pkisdk::CertificateBags bags(content);
    ForEachKeyBag(list, [&](const PfxKeyBag& bag, std::uint32_t ordinal) {
        pkisdk::BagAttributes attributes;
        *error = *error != 0 ? *error : CheckKey(bag, &attributes);
        if (*error == 0) {
            rows->push_back(DescribeKey(attributes, ordinal, &bags));
        }
    });
}

nlohmann::ordered_json RequireKeys(const std::vector<std::uint8_t>& document,
                                   const pkisdk::DerList& list, const pkisdk::DerList& content) {
    auto rows = nlohmann::ordered_json::array();
    DWORD error = 0;
    try {
        DescribeKeys(list, content, &rows, &error);
    } catch (const pkisdk::Exception&) {
        error = error != 0 ? error : static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
    }
    if (error != 0) {
        ThrowRestoreError(error, document);
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
    const OwnedStore store = DecryptCertificates(document, list, password, &content);
    const auto keys = RequireKeys(document, list, content);
    const auto certificates = DescribeCertificates(store.Get());
    if (options.common.json) {
        auto report = JsonSuccess("restore", options.file);
        report["dryRun"] = true;
        report["keys"] = keys;
        report["certificates"] = certificates;
        PrintJson(report);
    } else {
        PrintRows(keys, certificates);
    }
}

}  // namespace mvlpfx
