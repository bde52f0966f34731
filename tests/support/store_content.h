// What a store of certificates holds, in a form that two stores can be compared by.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <vector>

#include "platform/cryptoapi.h"
#include "support/certificates.h"
#include "support/csp_guards.h"

namespace test_support {

using KeyBytes = std::vector<BYTE>;

// Certificates with the private keys that they are tied to, wherever those live.
using StoreContent = std::map<CertificateBytes, std::optional<KeyBytes>>;

// The PrivateKeyInfo as the provider wraps it under a key and a vector that are always the same.
inline KeyBytes WrapPrivateKey(HCRYPTPROV context, HCRYPTKEY key) {
    const std::vector<BYTE> octets(32, 0x5A);
    HCRYPTKEY wrapping = 0;
    EXPECT_TRUE(CryptGenKey(context, kGost28147, 0, &wrapping));
    EXPECT_TRUE(CryptSetKeyParam(wrapping, KP_KEYVAL, octets.data(), 0));
    EXPECT_TRUE(CryptSetKeyParam(wrapping, KP_IV, octets.data(), 0));
    DWORD size = 0;
    EXPECT_TRUE(CryptExportKey(key, wrapping, PRIVATEKEYBLOB, 0x1000, nullptr, &size))
        << std::hex << GetLastError();
    KeyBytes blob(size);
    EXPECT_TRUE(CryptExportKey(key, wrapping, PRIVATEKEYBLOB, 0x1000, blob.data(), &size))
        << std::hex << GetLastError();
    CryptDestroyKey(wrapping);
    EXPECT_GT(blob.size(), sizeof(BLOBHEADER));
    // The header tells the slot's kind of key, which a restore chooses anew.
    blob.erase(blob.begin(), blob.begin() + sizeof(BLOBHEADER));
    return blob;
}

// Nothing where the certificate is tied to no key. One that it is tied to has to be exportable.
inline std::optional<KeyBytes> PrivateKeyOf(PCCERT_CONTEXT certificate) {
    HCRYPTPROV context = 0;
    DWORD keySpec = 0;
    BOOL isCallers = FALSE;
    if (!CryptAcquireCertificatePrivateKey(certificate, CRYPT_ACQUIRE_SILENT_FLAG, nullptr,
                                           &context, &keySpec, &isCallers)) {
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NO_KEY_PROPERTY));
        return std::nullopt;
    }
    HCRYPTKEY key = 0;
    EXPECT_TRUE(CryptGetUserKey(context, keySpec, &key));
    const KeyBytes wrapped = WrapPrivateKey(context, key);
    CryptDestroyKey(key);
    if (isCallers) {
        CryptReleaseContext(context, 0);
    }
    return wrapped;
}

// A certificate that stands there several times counts once, with its key.
inline StoreContent ReadStore(HCERTSTORE store) {
    StoreContent content;
    PCCERT_CONTEXT at = nullptr;
    while ((at = CertEnumCertificatesInStore(store, at)) != nullptr) {
        const CertificateBytes bytes(at->pbCertEncoded, at->pbCertEncoded + at->cbCertEncoded);
        std::optional<KeyBytes>& key = content[bytes];
        if (!key) {
            key = PrivateKeyOf(at);
        }
    }
    return content;
}

}  // namespace test_support
