// Certificates for tests, kept in tests/data/certificates or found on the machine.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/cryptoapi.h"

namespace test_support {

using CertificateBytes = std::vector<BYTE>;

// DER of a file in PEM or DER; empty where it cannot be read.
CertificateBytes ReadCertificate(const std::filesystem::path& file);

// A chain that the openssl program made: a root, an issuer below it and two leaves, one with a
// serial number whose first bit is set. A document can hold each of them.
struct TestChain {
    CertificateBytes root;
    CertificateBytes issuer;
    CertificateBytes leaf;
    CertificateBytes otherLeaf;
    // Same issuer and serial number as `leaf`, valid from later on.
    CertificateBytes newerLeaf;
};
const TestChain& Chain();

// Whether the reader of documents gives the certificate back as it is. It opens whatever reads as
// elements and writes that in its shortest form; the octets of a key or of a signature do so by
// chance, and no document is made of such a certificate.
bool ComesBackFromReading(const CertificateBytes& certificate);

// GOST certificates, one of each key kind, from OpenSSL with its engine and from GnuTLS.
std::vector<CertificateBytes> GostCertificates();

// A context, freed at the end.
class Certificate {
  public:
    explicit Certificate(PCCERT_CONTEXT context) : context_(context) {}
    explicit Certificate(const CertificateBytes& bytes)
        : context_(CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                                bytes.data(), static_cast<DWORD>(bytes.size()))) {}
    ~Certificate() { CertFreeCertificateContext(context_); }
    Certificate(const Certificate&) = delete;
    Certificate& operator=(const Certificate&) = delete;

    PCCERT_CONTEXT Get() const { return context_; }
    const CERT_CONTEXT* operator->() const { return context_; }
    // Leaves the context to the caller.
    PCCERT_CONTEXT Leave() {
        PCCERT_CONTEXT const context = context_;
        context_ = nullptr;
        return context;
    }

  private:
    PCCERT_CONTEXT context_;
};

// A store, closed at the end.
class OpenStore {
  public:
    OpenStore() : OpenStore(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr)) {}
    explicit OpenStore(HCERTSTORE store) : store_(store) {}
    explicit OpenStore(const wchar_t* name, DWORD flags = CERT_SYSTEM_STORE_CURRENT_USER)
        : OpenStore(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, flags, name)) {}
    ~OpenStore() { CertCloseStore(store_, 0); }
    OpenStore(const OpenStore&) = delete;
    OpenStore& operator=(const OpenStore&) = delete;

    HCERTSTORE Get() const { return store_; }
    BOOL Add(const CertificateBytes& bytes, DWORD disposition = CERT_STORE_ADD_NEW) const {
        return CertAddEncodedCertificateToStore(store_, X509_ASN_ENCODING, bytes.data(),
                                                static_cast<DWORD>(bytes.size()), disposition,
                                                nullptr);
    }
    // In store order.
    std::vector<CertificateBytes> All() const {
        std::vector<CertificateBytes> all;
        PCCERT_CONTEXT at = nullptr;
        while ((at = CertEnumCertificatesInStore(store_, at)) != nullptr) {
            all.emplace_back(at->pbCertEncoded, at->pbCertEncoded + at->cbCertEncoded);
        }
        return all;
    }
    PCCERT_CONTEXT First() const { return CertEnumCertificatesInStore(store_, nullptr); }

  private:
    HCERTSTORE store_;
};

}  // namespace test_support
