#include "support/reference_certificate_bags.h"

#include <cstring>

#include "derlist/der_queries.h"

namespace test_support {

namespace {

using pkisdk::Blob;
using pkisdk::DerList;

enum class Match { kNone, kById, kByNumber };

Match MatchOf(const Blob& id, const Blob& localKeyId, std::uint32_t ordinal) {
    if (id == localKeyId) {
        return Match::kById;
    }
    if (id.GetSize() != 4) {
        return Match::kNone;
    }
    const std::uint8_t* const octets = id.GetData();
    const std::uint32_t number =
        octets[0] + 0x100U * octets[1] + 0x10000U * octets[2] + 0x1000000U * octets[3];
    return number == ordinal ? Match::kByNumber : Match::kNone;
}

bool HasHash(PCCERT_CONTEXT certificate, const Blob& localKeyId) {
    std::uint8_t hash[20];
    DWORD size = sizeof hash;
    return CryptHashCertificate(0, 0x8004, 0, certificate->pbCertEncoded,
                                certificate->cbCertEncoded, hash, &size) &&
           localKeyId.GetSize() == sizeof hash &&
           std::memcmp(hash, localKeyId.GetData(), sizeof hash) == 0;
}

}  // namespace

PCCERT_CONTEXT ReferenceFindForKey(DerList* certificates, const Blob& localKeyId,
                                   std::uint32_t ordinal) {
    for (std::uint32_t j = 1;; ++j) {
        DerList bag;
        if (pkisdk::FindNthByOid(certificates, "1.2.840.113549.1.12.10.1.3", j, &bag) == 0) {
            return nullptr;
        }
        DerList attribute;
        if (pkisdk::FindByOid(&bag, "1.2.840.113549.1.9.21", &attribute) == 0) {
            continue;
        }
        const Blob id = attribute.empty() ? Blob() : attribute.back().content;
        const Match match = MatchOf(id, localKeyId, ordinal);
        DerList value;
        Blob bytes;
        if (match == Match::kNone ||
            pkisdk::FindByOid(&bag, "1.2.840.113549.1.9.22.1", &value) == 0 ||
            pkisdk::ExtractSubtree(value, 4, &bytes) == 0) {
            continue;
        }
        PCCERT_CONTEXT const certificate = CertCreateCertificateContext(
            0x10001, bytes.GetData(), static_cast<DWORD>(bytes.GetSize()));
        if (certificate == nullptr) {
            continue;
        }
        if (match == Match::kByNumber && !HasHash(certificate, localKeyId)) {
            CertFreeCertificateContext(certificate);
            return nullptr;
        }
        return certificate;
    }
}

}  // namespace test_support
