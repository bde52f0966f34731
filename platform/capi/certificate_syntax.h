// The syntax of a certificate for libcrypto, with its public key and its names left as they are.
#pragma once

#include <openssl/safestack.h>
#include <openssl/x509.h>

#include <memory>
#include <span>

#include "capi/types.h"

namespace capi {

// SubjectPublicKeyInfo ::= SEQUENCE { algorithm, subjectPublicKey BIT STRING }
struct KeySyntax {
    X509_ALGOR* algorithm;
    ASN1_BIT_STRING* key;
};

// Name ::= SEQUENCE OF RelativeName, RelativeName ::= SET OF AttributeTypeAndValue
using RelativeName = STACK_OF(X509_NAME_ENTRY);
DEFINE_STACK_OF(RelativeName)
using NameSyntax = STACK_OF(RelativeName);

struct BodySyntax {
    ASN1_INTEGER* version;
    ASN1_INTEGER* serialNumber;
    X509_ALGOR* algorithm;
    NameSyntax* issuer;
    X509_VAL* validity;
    NameSyntax* subject;
    KeySyntax* key;
    ASN1_BIT_STRING* issuerUniqueId;
    ASN1_BIT_STRING* subjectUniqueId;
    STACK_OF(X509_EXTENSION) * extensions;
};

// What libcrypto's own X509 takes. That one also looks for code for the public key and runs it, and
// writes each name a second time in a form to compare: several times the cost of the rest, and of
// no use to who neither verifies nor searches with it.
struct CertificateSyntax {
    BodySyntax* body;
    X509_ALGOR* algorithm;
    ASN1_BIT_STRING* signature;
};

struct FreeCertificateSyntax {
    void operator()(CertificateSyntax* certificate) const;
};
using CertificateSyntaxPointer = std::unique_ptr<CertificateSyntax, FreeCertificateSyntax>;

// Null unless the bytes are exactly one certificate.
CertificateSyntaxPointer DecodeCertificate(std::span<const BYTE> encoded);

}  // namespace capi
