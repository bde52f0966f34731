#include "capi/certificate_syntax.h"

#include <openssl/asn1t.h>
#include <openssl/err.h>

#include <algorithm>
#include <climits>
#include <cstddef>

namespace capi {

namespace {

// clang-format off
ASN1_ITEM_TEMPLATE(RelativeNameSyntax) =
    ASN1_EX_TEMPLATE_TYPE(ASN1_TFLG_SET_OF, 0, RelativeName, X509_NAME_ENTRY)
static_ASN1_ITEM_TEMPLATE_END(RelativeNameSyntax)

ASN1_ITEM_TEMPLATE(NameSyntax) =
    ASN1_EX_TEMPLATE_TYPE(ASN1_TFLG_SEQUENCE_OF, 0, Name, RelativeNameSyntax)
static_ASN1_ITEM_TEMPLATE_END(NameSyntax)

ASN1_SEQUENCE(KeySyntax) = {
    ASN1_SIMPLE(KeySyntax, algorithm, X509_ALGOR),
    ASN1_SIMPLE(KeySyntax, key, ASN1_BIT_STRING),
} static_ASN1_SEQUENCE_END(KeySyntax)

ASN1_SEQUENCE(BodySyntax) = {
    ASN1_EXP_OPT(BodySyntax, version, ASN1_INTEGER, 0),
    ASN1_SIMPLE(BodySyntax, serialNumber, ASN1_INTEGER),
    ASN1_SIMPLE(BodySyntax, algorithm, X509_ALGOR),
    ASN1_SIMPLE(BodySyntax, issuer, NameSyntax),
    ASN1_SIMPLE(BodySyntax, validity, X509_VAL),
    ASN1_SIMPLE(BodySyntax, subject, NameSyntax),
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

    bool IsAscii(const ASN1_STRING& value) {
    const std::span octets(ASN1_STRING_get0_data(&value),
                           static_cast<std::size_t>(ASN1_STRING_length(&value)));
    return std::ranges::all_of(octets, [](unsigned char octet) { return octet < 0x80; });
}

// Whether the characters of the value are whole, where its type has characters of several octets.
bool IsText(const ASN1_STRING& value) {
    const int type = ASN1_STRING_type(&value);
    const bool mayBreak = type == V_ASN1_BMPSTRING || type == V_ASN1_UNIVERSALSTRING ||
                          (type == V_ASN1_UTF8STRING && !IsAscii(value));
    if (!mayBreak) {
        return true;
    }
    unsigned char* text = nullptr;
    const int size = ASN1_STRING_to_UTF8(&text, &value);
    OPENSSL_free(text);
    return size >= 0;
}

bool IsText(const NameSyntax& name) {
    for (int i = 0; i < sk_RelativeName_num(&name); ++i) {
        const RelativeName* const attributes = sk_RelativeName_value(&name, i);
        for (int j = 0; j < sk_X509_NAME_ENTRY_num(attributes); ++j) {
            const X509_NAME_ENTRY* const entry = sk_X509_NAME_ENTRY_value(attributes, j);
            if (!IsText(*X509_NAME_ENTRY_get_data(entry))) {
                return false;
            }
        }
    }
    return true;
}

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
    const bool isGood = certificate != nullptr && at == encoded.data() + encoded.size() &&
                        IsText(*certificate->body->issuer) && IsText(*certificate->body->subject);
    // What libcrypto noted is told by the answer.
    ERR_clear_error();
    return isGood ? std::move(certificate) : nullptr;
}

}  // namespace capi
