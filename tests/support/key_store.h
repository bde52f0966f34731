// A memory store with keys of the built provider behind its certificates, in containers of the
// test's own.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/cryptoapi.h"
#include "platform/csp_parameters.h"
#include "support/certificates.h"
#include "support/container_home.h"
#include "support/csp_guards.h"

namespace test_support {

class KeyStore {
  public:
    HCERTSTORE Get() const { return store_.Get(); }
    const OpenStore& Store() const { return store_; }
    const ContainerHome& Home() const { return home_; }

    void Add(const CertificateBytes& certificate) const {
        EXPECT_TRUE(store_.Add(certificate, CERT_STORE_ADD_ALWAYS));
    }
    // Makes a container with a key, on that curve where one is named, and adds a certificate that
    // the key signed, of which documents can be made. Answers it.
    CertificateBytes AddKey(const std::string& container, ALG_ID algorithm,
                            DWORD flags = CRYPT_EXPORTABLE, const char* curve = nullptr) const {
        HCRYPTPROV context = 0;
        EXPECT_TRUE(CryptAcquireContextA(&context, container.c_str(), kProviderName, kProviderType,
                                         CRYPT_NEWKEYSET))
            << std::hex << GetLastError();
        if (curve != nullptr) {
            EXPECT_TRUE(CryptSetProvParam(context, PP_SIGNATURE_CURVE,
                                          reinterpret_cast<const BYTE*>(curve), 0))
                << std::hex << GetLastError();
        }
        CertificateBytes bytes;
        for (;;) {
            const Certificate certificate(DrawKey(context, algorithm, flags, "CN=" + container));
            if (certificate.Get() == nullptr) {
                break;
            }
            bytes.assign(certificate->pbCertEncoded,
                         certificate->pbCertEncoded + certificate->cbCertEncoded);
            if (ComesBackFromReading(bytes)) {
                EXPECT_TRUE(CertAddCertificateContextToStore(store_.Get(), certificate.Get(),
                                                             CERT_STORE_ADD_ALWAYS, nullptr));
                break;
            }
        }
        CryptReleaseContext(context, 0);
        return bytes;
    }

  private:
    // In the place of the key that was there. Null where the certificate could not be made.
    static PCCERT_CONTEXT DrawKey(HCRYPTPROV context, ALG_ID algorithm, DWORD flags,
                                  const std::string& subject) {
        HCRYPTKEY key = 0;
        EXPECT_TRUE(CryptGenKey(context, algorithm, flags, &key)) << std::hex << GetLastError();
        PCCERT_CONTEXT const certificate = SignedBy(context, subject);
        CryptDestroyKey(key);
        return certificate;
    }

    static PCCERT_CONTEXT SignedBy(HCRYPTPROV context, const std::string& subject) {
        DWORD size = 0;
        EXPECT_TRUE(CertStrToNameA(X509_ASN_ENCODING, subject.c_str(), CERT_X500_NAME_STR, nullptr,
                                   nullptr, &size, nullptr));
        std::vector<BYTE> encoded(size);
        CertStrToNameA(X509_ASN_ENCODING, subject.c_str(), CERT_X500_NAME_STR, nullptr,
                       encoded.data(), &size, nullptr);
        CERT_NAME_BLOB name{size, encoded.data()};
        CRYPT_KEY_PROV_INFO info{};
        info.dwKeySpec = AT_SIGNATURE;
        const PCCERT_CONTEXT certificate = CertCreateSelfSignCertificate(
            context, &name, 0, &info, nullptr, nullptr, nullptr, nullptr);
        EXPECT_NE(certificate, nullptr) << std::hex << GetLastError();
        return certificate;
    }

    // The containers outlive the store that names them.
    ContainerHome home_;
    OpenStore store_;
};

}  // namespace test_support
