#include "capi/certificate_syntax.h"

#include <openssl/asn1t.h>
#include <openssl/err.h>

#include <climits>

namespace capi {

namespace {

// clang-format off
ASN1_SEQUENCE(KeySyntax) = {
    ASN1_SIMPLE(KeySyntax, algorithm, X509_ALGOR),
    ASN1_SIMPLE(KeySyntax, key, ASN1_BIT_STRING),
} static_ASN1_SEQUENCE_END(KeySyntax)

ASN1_SEQUENCE(BodySyntax) = {
    ASN1_EXP_OPT(BodySyntax, version, ASN1_INTEGER, 0),
    ASN1_SIMPLE(BodySyntax, serialNumber, ASN1_INTEGER),
    ASN1_SIMPLE(BodySyntax, algorithm, X509_ALGOR),
    ASN1_SIMPLE(BodySyntax, issuer, X509_NAME),
    ASN1_SIMPLE(BodySyntax, validity, X509_VAL),
    ASN1_SIMPLE(BodySyntax, subject, X509_NAME),
    ASN1_SIMPLE(BodySyntax, key, KeySyntax),
    ASN1_IMP_OPT(BodySyntax, issuerUniqueId, ASN1_BIT_STRING, 1),
    ASN1_IMP_OPT(BodySyntax, subjectUniqueId, ASN1_BIT_STRING, 2),
    ASN1_EXP_SEQUENCE_OF_OPT(BodySyntax, extensions, X509_EXTENSION, 3),
} static_ASN1_SEQUENCE_END(BodySyntax)

ASN1_SEQUENCE(CertificateSyntax) = {
    ASN1_SIMPLE(CertificateSyntax, body, BodySyntax),
    ASN1_SIMPLE(CertificateSyntax, algorithm, X509_ALGOR),
    ASN1_SIMPLE(CertificateSyntax, signature, ASN1_BIT_STRING),
} static_ASN1_SEQUENCE_END(CertificateSyntax)
// clang-format on

}  // namespace

void FreeCertificateSyntax::operator()(CertificateSyntax* certificate) const {
    ASN1_item_free(reinterpret_cast<ASN1_VALUE*>(certificate), ASN1_ITEM_rptr(CertificateSyntax));
}

CertificateSyntaxPointer DecodeCertificate(std::span<const BYTE> encoded) {
    if (encoded.size() > LONG_MAX) {
        return nullptr;
    }
    const unsigned char* at = encoded.data();
    CertificateSyntaxPointer certificate(reinterpret_cast<CertificateSyntax*>(ASN1_item_d2i(
        nullptr, &at, static_cast<long>(encoded.size()), ASN1_ITEM_rptr(CertificateSyntax))));
    // What libcrypto noted is told by the answer.
    ERR_clear_error();
    const bool isWhole = certificate != nullptr && at == encoded.data() + encoded.size();
    return isWhole ? std::move(certificate) : nullptr;
}

}  // namespace capi
