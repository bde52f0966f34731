// Keys in real containers, and certificates that they sign for themselves.
#pragma once

#include <gtest/gtest.h>
#include <openssl/x509.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/certificates.h"
#include "support/container_home.h"
#include "support/csp_guards.h"
#include "support/last_error.h"

namespace own_keys {

using Bytes = std::vector<BYTE>;

struct Family {
    const char* name;
    // As CryptGenKey takes it.
    ALG_ID algorithm;
    ALG_ID hash;
    DWORD keySpec;
    const char* publicKeyOid;
    const char* signatureOid;
    // Of a signature, in octets.
    std::size_t signatureSize;
};

inline constexpr Family kGost2001{"Gost2001",       0x2E23,          0x801E, AT_SIGNATURE,
                                  "1.2.643.2.2.19", "1.2.643.2.2.3", 64};
inline constexpr Family kGost2012_256{
    "Gost2012With256", 0x2E49, 0x8021, AT_SIGNATURE, "1.2.643.7.1.1.1.1", "1.2.643.7.1.1.3.2", 64};
inline constexpr Family kGost2012_512{
    "Gost2012With512", 0x2E3D, 0x8022, AT_SIGNATURE, "1.2.643.7.1.1.1.2", "1.2.643.7.1.1.3.3", 128};
inline constexpr Family kExchange{"Exchange",          AT_KEYEXCHANGE,      0x8021, AT_KEYEXCHANGE,
                                  "1.2.643.7.1.1.1.1", "1.2.643.7.1.1.3.2", 64};
inline constexpr Family kFamilies[] = {kGost2001, kGost2012_256, kGost2012_512, kExchange};

inline BOOL SetPin(HCRYPTPROV context, const char* pin) {
    return CryptSetProvParam(context, PP_SIGNATURE_PIN, reinterpret_cast<const BYTE*>(pin), 0);
}

inline std::string Text(HCRYPTPROV context, DWORD parameter) {
    DWORD size = 0;
    EXPECT_TRUE(CryptGetProvParam(context, parameter, nullptr, &size, 0));
    Bytes text(size);
    EXPECT_TRUE(CryptGetProvParam(context, parameter, text.data(), &size, 0));
    return std::string(text.begin(), std::find(text.begin(), text.end(), BYTE{0}));
}

inline bool IsOpen(HCRYPTPROV context) {
    return CryptContextAddRef(context, nullptr, 0) && CryptReleaseContext(context, 0);
}

// A context with a container, released at the end.
class Container {
  public:
    explicit Container(const char* name, DWORD flags = CRYPT_NEWKEYSET) {
        EXPECT_TRUE(CryptAcquireContextA(&handle_, name, test_support::kProviderName,
                                         test_support::kProviderType, flags))
            << std::hex << GetLastError();
    }
    ~Container() { CryptReleaseContext(handle_, 0); }
    Container(const Container&) = delete;
    Container& operator=(const Container&) = delete;

    HCRYPTPROV Get() const { return handle_; }
    const Container& Generate(ALG_ID algorithm, DWORD flags = 0) const {
        HCRYPTKEY key = 0;
        EXPECT_TRUE(CryptGenKey(handle_, algorithm, flags, &key)) << std::hex << GetLastError();
        EXPECT_TRUE(CryptDestroyKey(key));
        return *this;
    }

  private:
    HCRYPTPROV handle_ = 0;
};

// SEQUENCE { SET { SEQUENCE { commonName, UTF8String "I" } } }
inline Bytes Name() {
    return {0x30, 0x0C, 0x31, 0x0A, 0x30, 0x08, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0C, 0x01, 'I'};
}

// What CertCreateSelfSignCertificate is asked for.
struct Wish {
    HCRYPTPROV provider = 0;
    Bytes name = Name();
    DWORD flags = 0;
    PCRYPT_KEY_PROV_INFO info = nullptr;
    PCRYPT_ALGORITHM_IDENTIFIER algorithm = nullptr;
    PSYSTEMTIME start = nullptr;
    PSYSTEMTIME end = nullptr;
    PCERT_EXTENSIONS extensions = nullptr;

    PCCERT_CONTEXT Make() {
        CERT_NAME_BLOB blob{static_cast<DWORD>(name.size()), name.data()};
        return CertCreateSelfSignCertificate(provider, &blob, flags, info, algorithm, start, end,
                                             extensions);
    }
};

inline PCCERT_CONTEXT SelfSign(HCRYPTPROV provider, DWORD keySpec = AT_SIGNATURE) {
    CRYPT_KEY_PROV_INFO info{};
    info.dwKeySpec = keySpec;
    Wish wish;
    wish.provider = provider;
    wish.info = &info;
    return wish.Make();
}

// The certificate as another reader sees it.
struct FreeX509 {
    void operator()(X509* certificate) const { X509_free(certificate); }
};
using Decoded = std::unique_ptr<X509, FreeX509>;

inline Decoded Decode(PCCERT_CONTEXT certificate) {
    const BYTE* at = certificate->pbCertEncoded;
    Decoded decoded(d2i_X509(nullptr, &at, static_cast<long>(certificate->cbCertEncoded)));
    EXPECT_NE(decoded, nullptr);
    return decoded;
}

// The octets that `encode` gives for a libcrypto object.
template <typename Object, typename Encode>
Bytes Encoded(Object* object, Encode encode) {
    BYTE* octets = nullptr;
    const int size = encode(object, &octets);
    EXPECT_GT(size, 0);
    const Bytes bytes(octets, octets + std::max(size, 0));
    OPENSSL_free(octets);
    return bytes;
}

inline Bytes SignedPart(X509* certificate) {
    return Encoded(certificate, &i2d_re_X509_tbs);
}

inline Bytes PublicKeyInfo(X509* certificate) {
    return Encoded(X509_get_X509_PUBKEY(certificate), &i2d_X509_PUBKEY);
}

// Of the certificate, in the provider's order.
inline Bytes Signature(X509* certificate) {
    const ASN1_BIT_STRING* bits = nullptr;
    const X509_ALGOR* algorithm = nullptr;
    X509_get0_signature(&bits, &algorithm, certificate);
    Bytes signature(bits->data, bits->data + bits->length);
    std::ranges::reverse(signature);
    return signature;
}

// Whether the key of `publicKeyInfo` signed the data, as a context without containers finds it.
inline bool Verifies(const Family& family, const Bytes& publicKeyInfo, const Bytes& data,
                     const Bytes& signature) {
    const test_support::VerifyContext context;
    // What is behind the header tells the algorithm.
    Bytes blob = {PUBLICKEYBLOB, 0x11, 0, 0, 0, 0, 0, 0};
    blob.insert(blob.end(), publicKeyInfo.begin(), publicKeyInfo.end());
    HCRYPTKEY key = 0;
    EXPECT_TRUE(
        CryptImportKey(context.Get(), blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key));
    test_support::Hash hash(context, family.hash);
    hash.Add(data);
    const BOOL isGood = CryptVerifySignatureW(
        hash.Get(), signature.data(), static_cast<DWORD>(signature.size()), key, nullptr, 0);
    EXPECT_TRUE(isGood || GetLastError() == static_cast<DWORD>(NTE_BAD_SIGNATURE));
    CryptDestroyKey(key);
    return isGood != FALSE;
}

// A hash of `data` signed through the context; empty, with the reason in the last error, where the
// provider refuses.
inline Bytes Sign(HCRYPTPROV context, const Family& family, const Bytes& data) {
    HCRYPTHASH handle = 0;
    EXPECT_TRUE(CryptCreateHash(context, family.hash, 0, 0, &handle));
    test_support::Hash hash(handle);
    hash.Add(data);
    Bytes signature(family.signatureSize);
    auto size = static_cast<DWORD>(signature.size());
    const BOOL isSigned =
        CryptSignHashW(handle, family.keySpec, nullptr, 0, signature.data(), &size);
    signature.resize(isSigned ? size : 0);
    return signature;
}

// Homes and settings of the test's own.
class OwnKeysTest : public testing::Test {
  protected:
    test_support::ContainerHome home_;
    test_support::ScopedSettings settings_;
};

}  // namespace own_keys
