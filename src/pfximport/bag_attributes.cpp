#include "pfximport/bag_attributes.h"

#include "asn/asn_string.h"
#include "asn/primitive_serializable.h"
#include "foundation/wide_to_ansi.h"
#include "pfximport/bag_identifiers.h"
#include "schema/attributes_set.h"

namespace pkisdk {

namespace {

Blob ReadLocalKeyId(const Blob& value) {
    Blob id;
    asn::OctetStringMember member("", &id);
    member.DeserializeFromAsnObject(asn::AsnObjectReadable::FromBlob(value),
                                    "Attributes.LocalKeyId");
    return id;
}

std::string ReadContainerName(const Blob& value) {
    std::wstring wide;
    asn::AsnString member("", &wide, asn::kBmpStringIdentifier);
    member.DeserializeFromAsnObject(asn::AsnObjectReadable::FromBlob(value),
                                    "Attributes.ContainerName");
    std::string name;
    WideToAnsi(wide.c_str(), &name);
    return name;
}

}  // namespace

DWORD ReadBagAttributes(const std::list<Blob>& attributes, BagAttributes* read) {
    for (const Blob& encoded : attributes) {
        asn::AttributesSet attribute;
        attribute.DeserializeFromAsnObject(asn::AsnObjectReadable::FromBlob(encoded),
                                           "keyAttributes");
        std::string oid;
        attribute.oid.GetText(&oid);
        if (oid == kMachineKeySetOid) {
            read->isMachineKey = true;
        } else if (oid == kLocalKeyIdOid || oid == kFriendlyNameOid) {
            if (attribute.values.empty()) {
                return static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
            }
            const Blob& value = attribute.values.front();
            if (oid == kLocalKeyIdOid) {
                read->localKeyId = ReadLocalKeyId(value);
            } else {
                read->containerName = ReadContainerName(value);
            }
        }
    }
    return 0;
}

}  // namespace pkisdk
