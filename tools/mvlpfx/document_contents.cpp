#include "mvlpfx/document_contents.h"

#include <exception>
#include <map>

#include "asn/asn_object_readable.h"
#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "foundation/exception.h"
#include "foundation/wide_to_ansi.h"
#include "mvlpfx/der_tags.h"
#include "mvlpfx/document_keys.h"
#include "mvlpfx/document_outline.h"
#include "mvlpfx/document_places.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/node_tree.h"
#include "mvlpfx/part_report.h"
#include "mvlpfx/report.h"
#include "mvlpfx/restore_error.h"
#include "pfximport/bag_attributes.h"
#include "pfximport/bag_identifiers.h"
#include "pfximport/bag_walk.h"
#include "pfximport/certificate_bags.h"
#include "pfximport/certificate_import.h"
#include "schema/attributes_set.h"
#include "schema/pfx_key_bag.h"

namespace mvlpfx {

namespace {

using Json = nlohmann::ordered_json;

template <typename Octets>
std::string Hex(const Octets& octets) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t octet : octets) {
        text += kDigits[octet >> 4];
        text += kDigits[octet & 0x0F];
    }
    return text;
}

pkisdk::DerList Parse(const std::vector<std::uint8_t>& document) {
    pkisdk::DerList list;
    pkisdk::ParseDerList(document.data(), static_cast<std::int32_t>(document.size()), &list);
    return list;
}

bool IsKnownAttribute(const std::string& oid) {
    return oid == pkisdk::kLocalKeyIdOid || oid == pkisdk::kFriendlyNameOid ||
           oid == pkisdk::kMachineKeySetOid;
}

// An attribute whose value is not what its type says is shown like one of an unknown type.
bool ReadKnownAttribute(const pkisdk::Blob& encoded, pkisdk::BagAttributes* read) {
    try {
        return pkisdk::ReadBagAttributes({encoded}, read) == 0;
    } catch (const std::exception&) {
        return false;
    }
}

Json DescribeAttribute(const pkisdk::Blob& encoded, std::string* oid) {
    pkisdk::asn::AttributesSet attribute;
    try {
        attribute.DeserializeFromAsnObject(pkisdk::asn::AsnObjectReadable::FromBlob(encoded),
                                           "attribute");
    } catch (const std::exception&) {
        return {{"values", {Hex(encoded.Bytes())}}};
    }
    attribute.oid.GetText(oid);
    Json values = Json::array();
    for (const pkisdk::Blob& value : attribute.values) {
        values.push_back(Hex(value.Bytes()));
    }
    return {{"oid", *oid}, {"values", std::move(values)}};
}

void AddAttributes(const std::list<pkisdk::Blob>& attributes, Json* row,
                   pkisdk::BagAttributes* known) {
    Json others = Json::array();
    for (const pkisdk::Blob& encoded : attributes) {
        std::string oid;
        Json attribute = DescribeAttribute(encoded, &oid);
        if (!IsKnownAttribute(oid) || !ReadKnownAttribute(encoded, known)) {
            others.push_back(std::move(attribute));
        }
    }
    if (known->containerName) {
        (*row)["friendlyName"] = *known->containerName;
    }
    if (!known->localKeyId.IsEmpty()) {
        (*row)["localKeyId"] = Hex(known->localKeyId.Bytes());
    }
    if (known->isMachineKey) {
        (*row)["machine"] = true;
    }
    if (!others.empty()) {
        (*row)["attributes"] = std::move(others);
    }
}

// Of a part that can't be read, while the rest is shown.
Json DescribeFailure(const ToolError& error) {
    Json failure;
    AddFailure(&failure, error);
    failure.erase("exitCode");
    failure.erase("containers");
    return failure;
}

// Adds the keys' rows; `bags` is null without the certificates.
void AddKeys(const std::vector<std::uint8_t>& document, const pkisdk::DerList& list,
             pkisdk::CertificateBags* bags, Json* report) {
    Json& rows = (*report)["keys"] = Json::array();
    try {
        ForEachKeyBag(list, [&](const PfxKeyBag& bag, std::uint32_t ordinal) {
            Json row{{"number", ordinal}};
            pkisdk::BagAttributes known;
            AddAttributes(bag.atributes, &row, &known);
            if (bags != nullptr) {
                const auto certificate = bags->FindForKey(known.localKeyId, ordinal);
                if (certificate) {
                    row["certificate"] = Thumbprint(certificate.Get());
                }
            }
            rows.push_back(std::move(row));
        });
    } catch (const pkisdk::Exception&) {
        (*report)["keysError"] =
            DescribeFailure(MakeRestoreError(static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT), document));
    }
}

// SafeBag ::= SEQUENCE { bagId, [0] bagValue, bagAttributes SET OF Attribute OPTIONAL }
std::list<pkisdk::Blob> AttributesOf(const pkisdk::DerList& bag) {
    const NodeTree tree(bag);
    const std::size_t set = tree.Child(tree.Root(), 2);
    std::list<pkisdk::Blob> attributes;
    if (tree.HasTag(set, kSet)) {
        for (const std::size_t attribute : tree.Children(set)) {
            pkisdk::FlattenSubtree(bag, static_cast<std::int32_t>(attribute),
                                   &attributes.emplace_back());
        }
    }
    return attributes;
}

// By thumbprint the numbers of the keys to which a certificate would be tied.
using KeysOfCertificates = std::map<std::string, Json>;

KeysOfCertificates GroupByCertificate(const Json& keys) {
    KeysOfCertificates numbers;
    for (const Json& key : keys) {
        if (key.contains("certificate")) {
            numbers[key["certificate"]].push_back(key["number"]);
        }
    }
    return numbers;
}

Json DescribeCertificate(const pkisdk::DerList& bag, std::uint32_t ordinal,
                         const KeysOfCertificates& keys) {
    pkisdk::Blob flat;
    pkisdk::FlattenSubtree(bag, 0, &flat);
    pkisdk::DerSpans spans;
    pkisdk::Blob encoded;
    if (spans.Parse(std::move(flat))) {
        pkisdk::ExtractBagCertificate(spans, &encoded);
    }
    const OwnedCertificate certificate(CertCreateCertificateContext(
        X509_ASN_ENCODING, encoded.GetData(), static_cast<DWORD>(encoded.GetSize())));
    Json row{{"number", ordinal}};
    if (certificate) {
        const CERT_INFO& info = *certificate.Get()->pCertInfo;
        const std::string thumbprint = Thumbprint(certificate.Get());
        row["subject"] = SubjectText(certificate.Get());
        row["issuer"] = IssuerText(certificate.Get());
        row["serial"] = SerialNumber(certificate.Get());
        row["notBefore"] = DayOf(info.NotBefore);
        row["notAfter"] = DayOf(info.NotAfter);
        row["thumbprint"] = thumbprint;
        const auto tied = keys.find(thumbprint);
        row["keys"] = tied == keys.end() ? Json::array() : tied->second;
    } else {
        row["readable"] = false;
    }
    pkisdk::BagAttributes known;
    AddAttributes(AttributesOf(bag), &row, &known);
    return row;
}

Json CertificateRows(const pkisdk::DerList& content, const KeysOfCertificates& keys) {
    Json rows = Json::array();
    pkisdk::BagWalk walk(content, pkisdk::kCertBagOid);
    pkisdk::DerList bag;
    for (std::uint32_t ordinal = 1; walk.Next(&bag); ++ordinal) {
        rows.push_back(DescribeCertificate(bag, ordinal, keys));
    }
    return rows;
}

// Those that are not encrypted, which a restore does not look for.
void AddPlainCertificates(const pkisdk::DerList& list, Json* report) {
    Json rows = Json::array();
    try {
        rows = CertificateRows(list, {});
    } catch (const pkisdk::Exception& error) {
        (*report)["plainCertificatesError"] =
            DescribeFailure(ToolError(ExitCode::kMalformed, error.what()));
    }
    for (Json& row : rows) {
        row.erase("keys");
        row["passedOver"] = WhyPassedOver(pkisdk::kCertBagOid, false);
    }
    if (!rows.empty()) {
        (*report)["plainCertificates"] = std::move(rows);
    }
}

// What the decrypted content holds besides certificates.
void AddOtherBags(const std::vector<PartOutline>& bags, Json* report) {
    for (const PartOutline& bag : bags) {
        if (!bag.passedOver.empty()) {
            (*report)["otherBags"].push_back(JsonOfPart(bag));
        }
    }
}

// A restore takes what it decrypts for bags whatever it is.
void AddCertificates(const std::vector<std::uint8_t>& document, const pkisdk::DerList& content,
                     Json* report) {
    bool isRead = false;
    const std::vector<PartOutline> bags = OutlineDecrypted(content, &isRead);
    if (!isRead) {
        (*report)["certificatesError"] = DescribeFailure(MakeJunkError(document));
        return;
    }
    (*report)["certificates"] = CertificateRows(content, GroupByCertificate((*report)["keys"]));
    AddOtherBags(bags, report);
}

}  // namespace

OwnedStore DecryptCertificates(const std::vector<std::uint8_t>& document,
                               const pkisdk::DerList& list, const Secret<wchar_t>& password,
                               pkisdk::DerList* content) {
    std::string ansi;
    pkisdk::WideToAnsi(password.Text().c_str(), &ansi);
    OwnedStore store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    const bool isDone =
        store && pkisdk::AddPfxCertsToStore(ansi.c_str(), list, store.Get(), content) != 0;
    const DWORD error = GetLastError();
    SecureZeroMemory(ansi.data(), ansi.size());
    if (!isDone) {
        ThrowRestoreError(error, document);
    }
    return store;
}

nlohmann::ordered_json DescribeKeys(const std::vector<std::uint8_t>& document) {
    const pkisdk::DerList list = Parse(document);
    Json report;
    AddKeys(document, list, nullptr, &report);
    AddPlainCertificates(list, &report);
    return report;
}

nlohmann::ordered_json DescribeContents(const std::vector<std::uint8_t>& document,
                                        const Secret<wchar_t>& password) {
    const pkisdk::DerList list = Parse(document);
    Json report;
    try {
        pkisdk::DerList content;
        DecryptCertificates(document, list, password, &content);
        pkisdk::CertificateBags bags(content);
        AddKeys(document, list, &bags, &report);
        AddCertificates(document, content, &report);
    } catch (const ToolError& error) {
        AddKeys(document, list, nullptr, &report);
        report["certificatesError"] = DescribeFailure(error);
    }
    AddPlainCertificates(list, &report);
    return report;
}

}  // namespace mvlpfx
