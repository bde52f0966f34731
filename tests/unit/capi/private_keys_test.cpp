#include <gtest/gtest.h>

#include <string>

#include "support/certificates.h"
#include "support/fake_csp.h"
#include "support/last_error.h"
#include "support/scoped_environment.h"

namespace {

using test_support::Certificate;
using test_support::Chain;

class AcquirePrivateKey : public testing::Test {
  protected:
    void Name(const std::wstring& container, DWORD flags = 0, DWORD pinFlags = 0) {
        std::wstring name = container;
        std::wstring provider(test_support::kFakeCspName,
                              test_support::kFakeCspName + sizeof(test_support::kFakeCspName) - 1);
        std::string pin = "2468";
        // The size leaves out the terminator.
        CRYPT_KEY_PROV_PARAM parameter{PP_SIGNATURE_PIN, reinterpret_cast<BYTE*>(pin.data()), 4,
                                       pinFlags};
        const CRYPT_KEY_PROV_INFO info{
            name.data(), provider.data(), test_support::kFakeCspType, flags, 1,
            &parameter,  AT_KEYEXCHANGE};
        ASSERT_TRUE(
            CertSetCertificateContextProperty(leaf_.Get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
    }
    BOOL Acquire(DWORD flags) {
        return CryptAcquireCertificatePrivateKey(leaf_.Get(), flags, nullptr, &key_, &keySpec_,
                                                 &isCallers_);
    }
    static std::string Text(HCRYPTPROV provider, DWORD parameter) {
        char text[64] = "";
        DWORD size = sizeof(text);
        EXPECT_TRUE(
            CryptGetProvParam(provider, parameter, reinterpret_cast<BYTE*>(text), &size, 0));
        return text;
    }
    static DWORD FlagsOfAcquisition(HCRYPTPROV provider) {
        DWORD flags = 0;
        DWORD size = sizeof(flags);
        CryptGetProvParam(provider, PP_KEYSET_TYPE, reinterpret_cast<BYTE*>(&flags), &size, 0);
        return flags;
    }
    static bool IsOpen(HCRYPTPROV provider) {
        return CryptContextAddRef(provider, nullptr, 0) && CryptReleaseContext(provider, 0);
    }

    test_support::ScopedSettings settings_{test_support::FakeCspSettings(MVLPFX_FAKE_CSP)};
    Certificate leaf_{Chain().leaf};
    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE key_ = 0;
    DWORD keySpec_ = 0;
    BOOL isCallers_ = FALSE;
};

TEST_F(AcquirePrivateKey, GivesTheCallerAHandleOfTheNamedContainer) {
    Name(L"box", 32);
    for (const DWORD flags : {0, CRYPT_ACQUIRE_USE_PROV_INFO_FLAG}) {
        ASSERT_TRUE(Acquire(flags));
        EXPECT_EQ(isCallers_, TRUE);
        EXPECT_EQ(keySpec_, DWORD{AT_KEYEXCHANGE});
        EXPECT_EQ(Text(key_, PP_CONTAINER), "box");
        EXPECT_EQ(FlagsOfAcquisition(key_), 32u);
        EXPECT_EQ(Text(key_, PP_SIGNATURE_PIN), "2468");
        EXPECT_TRUE(CryptReleaseContext(key_, 0));
        EXPECT_FALSE(IsOpen(key_));
    }
}

TEST_F(AcquirePrivateKey, KeepsAHandleWithTheContextWhenAsked) {
    Name(L"box");
    ASSERT_TRUE(Acquire(CRYPT_ACQUIRE_CACHE_FLAG | CRYPT_ACQUIRE_SILENT_FLAG));
    EXPECT_EQ(isCallers_, FALSE);
    EXPECT_EQ(FlagsOfAcquisition(key_), DWORD{CRYPT_SILENT});
    const HCRYPTPROV first = key_;
    ASSERT_TRUE(Acquire(CRYPT_ACQUIRE_CACHE_FLAG));
    EXPECT_EQ(key_, first);
    CERT_KEY_CONTEXT kept{};
    DWORD size = sizeof(kept);
    ASSERT_TRUE(
        CertGetCertificateContextProperty(leaf_.Get(), CERT_KEY_CONTEXT_PROP_ID, &kept, &size));
    EXPECT_EQ(kept.hCryptProv, first);
    EXPECT_EQ(kept.dwKeySpec, DWORD{AT_KEYEXCHANGE});
    ASSERT_TRUE(Acquire(0));
    EXPECT_NE(key_, first);
    EXPECT_EQ(isCallers_, TRUE);
    CryptReleaseContext(key_, 0);

    CertFreeCertificateContext(leaf_.Leave());
    EXPECT_FALSE(IsOpen(first));
}

TEST_F(AcquirePrivateKey, KeepsAHandleWhereTheRecordSaysSo) {
    Name(L"box", CERT_SET_KEY_CONTEXT_PROP_ID);
    ASSERT_TRUE(Acquire(CRYPT_ACQUIRE_USE_PROV_INFO_FLAG));
    EXPECT_EQ(isCallers_, FALSE);
    EXPECT_EQ(FlagsOfAcquisition(key_), 0u);
    const HCRYPTPROV first = key_;
    ASSERT_TRUE(Acquire(CRYPT_ACQUIRE_USE_PROV_INFO_FLAG));
    EXPECT_EQ(key_, first);
}

TEST_F(AcquirePrivateKey, ReleasesTheProviderThatRefusesAParameter) {
    Name(L"box", 0, static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD));
    EXPECT_FAILS_WITH(NTE_KEYSET_ENTRY_BAD, Acquire(CRYPT_ACQUIRE_CACHE_FLAG));
    EXPECT_EQ(key_, 0u);
    DWORD size = sizeof(CERT_KEY_CONTEXT);
    CERT_KEY_CONTEXT kept{};
    EXPECT_FAILS_WITH(CRYPT_E_NOT_FOUND, CertGetCertificateContextProperty(
                                             leaf_.Get(), CERT_KEY_CONTEXT_PROP_ID, &kept, &size));
}

TEST_F(AcquirePrivateKey, GivesItsErrorWords) {
    EXPECT_FAILS_WITH(CRYPT_E_NO_KEY_PROPERTY, Acquire(CRYPT_ACQUIRE_CACHE_FLAG));
    Name(L"refuse");
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET, Acquire(0));
    EXPECT_FAILS_WITH(E_INVALIDARG, Acquire(0x80));
    EXPECT_FAILS_WITH(E_INVALIDARG, Acquire(0x40000));
    EXPECT_FAILS_WITH(E_INVALIDARG, CryptAcquireCertificatePrivateKey(nullptr, 0, nullptr, &key_,
                                                                      &keySpec_, &isCallers_));
    EXPECT_FAILS_WITH(E_INVALIDARG, CryptAcquireCertificatePrivateKey(
                                        leaf_.Get(), 0, nullptr, nullptr, &keySpec_, &isCallers_));
    EXPECT_FAILS_WITH(E_INVALIDARG, CryptAcquireCertificatePrivateKey(leaf_.Get(), 0, nullptr,
                                                                      &key_, &keySpec_, nullptr));
    const test_support::ScopedVariable locale("LC_ALL", "ru_RU.KOI8-R");
    Name(L"\u4E2D");
    EXPECT_FAILS_WITH(ERROR_NO_UNICODE_TRANSLATION, Acquire(0));
}

TEST_F(AcquirePrivateKey, ReleasesAReplacedKeyContextUnlessToldNotTo) {
    Name(L"box");
    ASSERT_TRUE(Acquire(0));
    const HCRYPTPROV first = key_;
    CERT_KEY_CONTEXT record{sizeof(record), first, AT_SIGNATURE};
    ASSERT_TRUE(
        CertSetCertificateContextProperty(leaf_.Get(), CERT_KEY_CONTEXT_PROP_ID, 0, &record));
    ASSERT_TRUE(
        CertSetCertificateContextProperty(leaf_.Get(), CERT_KEY_CONTEXT_PROP_ID, 0, nullptr));
    EXPECT_FALSE(IsOpen(first));

    ASSERT_TRUE(Acquire(0));
    record.hCryptProv = key_;
    ASSERT_TRUE(CertSetCertificateContextProperty(leaf_.Get(), CERT_KEY_CONTEXT_PROP_ID,
                                                  CERT_STORE_NO_CRYPT_RELEASE_FLAG, &record));
    CertFreeCertificateContext(leaf_.Leave());
    EXPECT_TRUE(IsOpen(key_));
    CryptReleaseContext(key_, 0);
}

}  // namespace
