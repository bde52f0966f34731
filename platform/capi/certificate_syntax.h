// The syntax of a certificate for libcrypto, with its public key left as it is.
#pragma once

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

struct BodySyntax {
    ASN1_INTEGER* version;
    ASN1_INTEGER* serialNumber;
    X509_ALGOR* algorithm;
    X509_NAME* issuer;
    X509_VAL* validity;
    X509_NAME* subject;
    KeySyntax* key;
    ASN1_BIT_STRING* issuerUniqueId;
    ASN1_BIT_STRING* subjectUniqueId;
    STACK_OF(X509_EXTENSION) * extensions;
};

// What libcrypto's own X509 takes. That one also looks for code for the public key and runs it,
// which costs several times the rest and is of no use to who does not verify anything.
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
