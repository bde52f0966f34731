// A memory store to export, with the stand-ins reset around each test.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/certificates.h"
#include "support/key_calls.h"
#include "support/last_error.h"
#include "support/platform_calls.h"

namespace test_support {

inline constexpr DWORD kInjected = 0xE0001234;

// The provider of a record that says nothing else.
inline constexpr wchar_t kDefaultProvider[] = L"Velmorix Cryptographic Service Provider";

class ExportTest : public ::testing::Test {
  protected:
    ExportTest() {
        Calls().Reset();
        Keys().Reset();
    }
    ~ExportTest() override {
        Calls().Reset();
        Keys().Reset();
    }

    static PlatformCalls& Calls() { return PlatformCalls::Get(); }
    static KeyCalls& Keys() { return KeyCalls::Get(); }
    // But for these certificates.
    static void ExpectNothingOpen(int certificates = 0) {
        EXPECT_EQ(Calls().OpenContexts(), 0);
        EXPECT_EQ(Calls().OpenKeys(), 0);
        EXPECT_EQ(Calls().OpenHashes(), 0);
        EXPECT_EQ(Calls().OpenRegistryKeys(), 0);
        EXPECT_EQ(Calls().OpenHeapBlocks(), 0);
        EXPECT_EQ(Keys().OpenCertificates(), certificates);
    }

    // Adds a certificate; with a container's name it names a key there.
    void Add(const CertificateBytes& bytes, std::optional<std::wstring> container = std::nullopt,
             std::optional<std::wstring> provider = std::wstring(kDefaultProvider),
             DWORD providerType = 2) const {
        PCCERT_CONTEXT added = nullptr;
        ASSERT_TRUE(CertAddEncodedCertificateToStore(store_.Get(), X509_ASN_ENCODING, bytes.data(),
                                                     static_cast<DWORD>(bytes.size()),
                                                     CERT_STORE_ADD_ALWAYS, &added))
            << std::hex << GetLastError();
        if (container) {
            CRYPT_KEY_PROV_INFO info{};
            info.pwszContainerName = container->data();
            info.pwszProvName = provider ? provider->data() : nullptr;
            info.dwProvType = providerType;
            info.dwKeySpec = AT_KEYEXCHANGE;
            EXPECT_TRUE(
                CertSetCertificateContextProperty(added, CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
        }
        CertFreeCertificateContext(added);
        // The addition is not the module's.
        Keys().certificates_ = 0;
    }
    // The same with a key that answers as `key`.
    void AddScripted(const CertificateBytes& bytes, const std::wstring& container, ScriptedKey key,
                     std::optional<std::wstring> provider = std::wstring(kDefaultProvider)) const {
        Keys().Script(container, std::move(key));
        Add(bytes, container, std::move(provider));
    }

    OpenStore store_;
};

// A key blob as the provider writes it, with these octets behind the header.
inline std::vector<BYTE> KeyBlob(const std::vector<BYTE>& wrapped) {
    constexpr BYTE kHeader[] = {PRIVATEKEYBLOB, 0x11, 0, 0, 0x49, 0x2E, 0, 0};
    std::vector<BYTE> blob(sizeof kHeader + wrapped.size());
    std::copy(wrapped.begin(), wrapped.end(),
              std::copy(std::begin(kHeader), std::end(kHeader), blob.begin()));
    return blob;
}

}  // namespace test_support
