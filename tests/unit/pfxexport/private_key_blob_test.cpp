#include "pfxexport/private_key_blob.h"

#include <gtest/gtest.h>

#include "foundation/blob.h"
#include "support/export_fixture.h"

namespace {

using pkisdk::Blob;
using pkisdk::ExportPrivateKeyBlob;
using test_support::Chain;
using test_support::KeyBlob;
using test_support::kInjected;
using test_support::ScriptedKey;

constexpr DWORD kNotExportable = 0x80095000;

class ExportPrivateKeyBlobTest : public test_support::ExportTest {
  protected:
    ~ExportPrivateKeyBlobTest() override {
        CryptDestroyKey(key_);
        CryptReleaseContext(provider_, 0);
    }
    // Opens a key that answers so.
    void Open(ScriptedKey script) {
        AddScripted(Chain().leaf, L"key", std::move(script));
        const test_support::Certificate leaf(store_.First());
        DWORD keySpec = 0;
        BOOL isCallers = FALSE;
        ASSERT_TRUE(CryptAcquireCertificatePrivateKey(leaf.Get(), CRYPT_ACQUIRE_USE_PROV_INFO_FLAG,
                                                      nullptr, &provider_, &keySpec, &isCallers));
        ASSERT_TRUE(CryptGetUserKey(provider_, keySpec, &key_));
        Calls().Reset();
    }
    int Export(std::int32_t isSizeOnly = 0, DWORD flags = 0) {
        SetLastError(kInjected);
        return ExportPrivateKeyBlob(provider_, key_, kSessionKey, flags, isSizeOnly, &wrapped_);
    }
    void ExpectWrapped(const std::vector<BYTE>& expected) {
        EXPECT_EQ(GetLastError(), 0u);
        EXPECT_EQ(wrapped_, Blob(expected.data(), expected.size()));
    }

    static constexpr HCRYPTKEY kSessionKey = 77;
    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE provider_ = 0;
    HCRYPTKEY key_ = 0;
    Blob wrapped_;
};

TEST_F(ExportPrivateKeyBlobTest, GivesWhatIsBehindTheHeader) {
    Open({.blob = KeyBlob({1, 2, 3})});
    EXPECT_EQ(Export(), 1);
    ExpectWrapped({1, 2, 3});
}

TEST_F(ExportPrivateKeyBlobTest, LengthAndKeyAreAskedForInTheSameWay) {
    Open({.blob = KeyBlob({1, 2, 3})});
    EXPECT_EQ(Export(), 1);
    EXPECT_EQ(Calls().Parameters("CryptExportKey"), std::vector<DWORD>(2, 0x1000));
    EXPECT_EQ(Keys().Wrappings(), std::vector<HCRYPTKEY>(2, kSessionKey));
}

TEST_F(ExportPrivateKeyBlobTest, ABlobOfNineBytesGivesOne) {
    Open({.blob = KeyBlob({0xAB})});
    EXPECT_EQ(Export(), 1);
    ExpectWrapped({0xAB});
}

TEST_F(ExportPrivateKeyBlobTest, ABlobUnderNineBytesIsBadData) {
    Open({.blob = KeyBlob({})});
    EXPECT_FAILS_WITH(NTE_BAD_DATA, Export());
    EXPECT_TRUE(wrapped_.IsEmpty());
}

TEST_F(ExportPrivateKeyBlobTest, AnEmptyBlobIsBadData) {
    Open({.blob = {}});
    EXPECT_FAILS_WITH(NTE_BAD_DATA, Export());
}

TEST_F(ExportPrivateKeyBlobTest, AnotherBlobTypeIsABadKeyState) {
    ScriptedKey key{.blob = KeyBlob({1})};
    key.blob[0] = PUBLICKEYBLOB;
    Open(key);
    EXPECT_FAILS_WITH(NTE_BAD_KEY_STATE, Export());
}

TEST_F(ExportPrivateKeyBlobTest, AnotherBlobVersionIsABadKeyState) {
    ScriptedKey key{.blob = KeyBlob({1})};
    key.blob[1] = CUR_BLOB_VERSION;
    Open(key);
    EXPECT_FAILS_WITH(NTE_BAD_KEY_STATE, Export());
}

TEST_F(ExportPrivateKeyBlobTest, TheRestOfTheHeaderIsNotLookedAt) {
    ScriptedKey key{.blob = KeyBlob({1})};
    std::fill(key.blob.begin() + 2, key.blob.begin() + 8, BYTE{0xFF});
    Open(key);
    EXPECT_EQ(Export(), 1);
    ExpectWrapped({1});
}

TEST_F(ExportPrivateKeyBlobTest, AKeyThatMustNotBeExportedIsRefused) {
    Open({.permissions = ~DWORD{CRYPT_EXPORT}, .blob = KeyBlob({1})});
    EXPECT_FAILS_WITH(kNotExportable, Export());
    EXPECT_FAILS_WITH(kNotExportable, Export(1));
    EXPECT_EQ(Calls().Count("CryptExportKey"), 0);
}

TEST_F(ExportPrivateKeyBlobTest, AKeyWhosePermissionsCannotBeReadIsExported) {
    Open({.permissions = std::nullopt, .blob = KeyBlob({1})});
    EXPECT_EQ(Export(), 1);
    ExpectWrapped({1});
}

TEST_F(ExportPrivateKeyBlobTest, TheSizeAloneComesWithoutAskingForTheKey) {
    Open({.blob = KeyBlob({1, 2, 3})});
    EXPECT_EQ(Export(1), 1);
    ExpectWrapped({0, 0, 0});
    EXPECT_EQ(Export(-1), 1);
    ExpectWrapped({0, 0, 0});
    EXPECT_EQ(Calls().Count("CryptExportKey"), 2);
}

TEST_F(ExportPrivateKeyBlobTest, TheSizeAloneSucceedsWhereTheExportWouldNot) {
    ScriptedKey key{.blob = KeyBlob({1, 2})};
    key.blob[0] = PUBLICKEYBLOB;
    Open(key);
    EXPECT_EQ(Export(1), 1);
    ExpectWrapped({0, 0});
    Calls().FailNamed("CryptExportKey", 2, kInjected);
    EXPECT_EQ(Export(1), 1);
    ExpectWrapped({0, 0});
}

TEST_F(ExportPrivateKeyBlobTest, TheSizeAloneOfAShortBlobIsEmpty) {
    Open({.blob = {7}});
    EXPECT_EQ(Export(1), 1);
    ExpectWrapped({});
}

TEST_F(ExportPrivateKeyBlobTest, TheSizeAloneFailsWhereTheFirstStepsDo) {
    Open({.blob = KeyBlob({1})});
    Calls().FailNamed("CryptGetProvParam", 1, kInjected);
    EXPECT_FAILS_WITH(kInjected, Export(1));
    Calls().FailNamed("CryptExportKey", 1, kInjected);
    EXPECT_FAILS_WITH(kInjected, Export(1));
}

TEST_F(ExportPrivateKeyBlobTest, ALengthThatWasReportedTooLargeStays) {
    Open({.blob = KeyBlob({1, 2}), .reportedLength = 12});
    EXPECT_EQ(Export(), 1);
    ExpectWrapped({1, 2, 0, 0});
}

TEST_F(ExportPrivateKeyBlobTest, FailingCallsOfTheProviderAreItsError) {
    Open({.blob = KeyBlob({1})});
    Calls().FailNamed("CryptGetProvParam", 1, kInjected);
    EXPECT_FAILS_WITH(kInjected, Export());
    for (const int n : {1, 2}) {
        Calls().FailNamed("CryptExportKey", n, kInjected);
        EXPECT_FAILS_WITH(kInjected, Export()) << n;
    }
    EXPECT_TRUE(wrapped_.IsEmpty());
    EXPECT_EQ(Calls().OpenKeys(), 0);
}

TEST_F(ExportPrivateKeyBlobTest, TheFlagsAreNotRead) {
    Open({.blob = KeyBlob({1, 2, 3})});
    EXPECT_EQ(Export(0, 0xFFFFFFFF), 1);
    ExpectWrapped({1, 2, 3});
}

}  // namespace
