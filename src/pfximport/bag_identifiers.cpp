#include "pfximport/bag_identifiers.h"

namespace pkisdk {

bool ExtractBagCertificate(const DerSpans& bag, Blob* encoded) {
    // Under SEQUENCE, OBJECT IDENTIFIER, [0] and OCTET STRING.
    constexpr std::size_t kCertificateIndex = 4;
    return bag.FlattenInStructure(kX509CertificateOid, kCertificateIndex, encoded);
}

}  // namespace pkisdk
