// X.509 certificates as libcrypto reads them.
#pragma once

#include <openssl/x509.h>

#include <array>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "capi/certificates.h"

namespace capi {

using Bytes = std::vector<BYTE>;
using Sha1 = std::array<BYTE, 20>;

struct FreeX509 {
    void operator()(X509* certificate) const { X509_free(certificate); }
};
using X509Pointer = std::unique_ptr<X509, FreeX509>;

// Null unless the bytes are exactly one certificate.
X509Pointer DecodeX509(std::span<const BYTE> encoded);

// The view of blobs as the interfaces have them.
inline std::span<const BYTE> View(const CRYPT_INTEGER_BLOB& blob) {
    return {blob.pbData, blob.cbData};
}

// What is inside one certificate. Its pointers go into the encoded bytes, which outlive it, or into
// storage of its own.
class CertificateInfo {
  public:
    // Throws ErrorWord(CRYPT_E_ASN1_CORRUPT) unless the bytes are exactly one DER certificate.
    explicit CertificateInfo(std::span<const BYTE> encoded);
    CertificateInfo(const CertificateInfo&) = delete;
    CertificateInfo& operator=(const CertificateInfo&) = delete;

    CERT_INFO& Get() { return info_; }
    const CERT_INFO& Get() const { return info_; }
    // The encoded SubjectPublicKeyInfo.
    std::span<const BYTE> PublicKeyInfo() const { return publicKeyInfo_; }

  private:
    class Reader;

    void ReadBody(Reader body);
    void ReadExtensions(Reader list);
    void ReadAlgorithm(Reader fields, CRYPT_ALGORITHM_IDENTIFIER* algorithm);
    // The text of the next field, which has to be an identifier.
    char* KeepOid(Reader* fields);

    CERT_INFO info_{};
    std::span<const BYTE> publicKeyInfo_;
    Bytes serialNumber_;
    // A deque, so that what is pointed to stays where it is.
    std::deque<std::string> oids_;
    std::vector<CERT_EXTENSION> extensions_;
};

// The value of the first extension of that identifier, empty where there is none.
std::span<const BYTE> FindExtension(const CERT_INFO& info, const char* oid);

Sha1 Sha1Of(std::span<const BYTE> data);
// An algorithm that libcrypto has by number; empty for others.
Bytes DigestOf(ALG_ID algorithm, std::span<const BYTE> data);

bool IsSignedBy(std::span<const BYTE> subject, std::span<const BYTE> issuer);

}  // namespace capi
