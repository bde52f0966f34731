#include "pfximport/bag_identifiers.h"

#include "derlist/der_queries.h"

namespace pkisdk {

bool ExtractBagCertificate(const DerList& bag, Blob* encoded) {
    // Under SEQUENCE, OBJECT IDENTIFIER, [0] and OCTET STRING.
    constexpr std::int32_t kCertificateIndex = 4;
    DerList value;
    return FindByOid(&bag, kX509CertificateOid, &value) != 0 &&
           FlattenSubtree(value, kCertificateIndex, encoded) != 0;
}

}  // namespace pkisdk
