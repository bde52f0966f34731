#include "pfximport/restore.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>

#include "pfxcrypto/handle_guards.h"
#include "pfximport/key_import.h"
#include "support/c_heap.h"
#include "support/import_fixture.h"

// By the linker too: the step of the keys, under its mangled name. It fails without an error where
// that is asked for, as it never does of itself.
namespace {

bool failKeysWithoutError = false;

}  // namespace

extern "C" {
int __real__ZN6pkisdk15AddPfxKeysToCSPEPKcS1_NS_7DerListEPvS2_jh(
    const char* password, const char* provider, pkisdk::DerList document, HCERTSTORE store,
    pkisdk::DerList certificates, std::uint32_t flags, std::uint8_t isSilent);

__attribute__((visibility("default"))) int
__wrap__ZN6pkisdk15AddPfxKeysToCSPEPKcS1_NS_7DerListEPvS2_jh(
    const char* password, const char* provider, pkisdk::DerList document, HCERTSTORE store,
    pkisdk::DerList certificates, std::uint32_t flags, std::uint8_t isSilent) {
    if (failKeysWithoutError) {
        SetLastError(0);
        return 0;
    }
    return __real__ZN6pkisdk15AddPfxKeysToCSPEPKcS1_NS_7DerListEPvS2_jh(
        password, provider, document, store, certificates, flags, isSilent);
}
}

namespace {

using pkisdk::Blob;
using pkisdk::CertStore;
using test_support::Bytes;
using test_support::CertificateBag;
using test_support::CertificatesOf;
using test_support::CHeap;
using test_support::DocumentOf;
using test_support::EncryptedContentInfo;
using test_support::Encryption;
using test_support::kBadAlgorithm;
using test_support::kBadData;
using test_support::kCorrupt;
using test_support::KeyBag;
using test_support::kInjected;
using test_support::LocalKeyId;
using test_support::MakeCertificate;
using test_support::PlainContentInfo;
using test_support::ToBlob;

constexpr DWORD kWrongPassword = static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD);

class RestoreTest : public test_support::ImportTest {
  protected:
    void TearDown() override {
        CHeap::Get().Reset();
        failKeysWithoutError = false;
        ImportTest::TearDown();
    }
    static CertStore Restore(const Bytes& document, const std::string& password = "Password1",
                             DWORD flags = 0) {
        const Blob blob = ToBlob(document);
        SetLastError(kInjected);
        return CertStore(
            pkisdk::RestorePfxToMemoryStore(password.c_str(), &blob, "not read", flags));
    }
    void ExpectError(const Bytes& document, DWORD error, std::size_t containers = 0,
                     const std::string& password = "Password1") {
        EXPECT_FALSE(Restore(document, password));
        EXPECT_EQ(GetLastError(), error) << std::hex << GetLastError();
        EXPECT_EQ(UserContainers(), containers);
        ExpectNothingOpen();
    }
    Bytes Certificates() const {
        return EncryptedContentInfo({CertificateBag{certificate_, {LocalKeyId({1})}}.Build()});
    }
    static Bytes Key(std::uint8_t value = 1) {
        KeyBag key;
        key.privateKey = test_support::PrivateKey(value);
        key.attributes = {LocalKeyId({value})};
        return key.Build();
    }
    Bytes Document() const { return DocumentOf({Certificates(), PlainContentInfo({Key()})}); }

    const Bytes certificate_ = MakeCertificate("one", "ca");
};

TEST_F(RestoreTest, ADocumentBecomesAStoreAndAContainer) {
    const CertStore store = Restore(Document());
    ASSERT_TRUE(store) << std::hex << GetLastError();
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(CertificatesOf(store.Get()), std::vector<Bytes>{certificate_});
    EXPECT_TRUE(test_support::KeyPlacesOf(store.Get())[0].has_value());
    EXPECT_EQ(UserContainers(), 1u);
    EXPECT_EQ(Calls().OpenStores(), 1);
    EXPECT_EQ(Calls().OpenContexts(), 0);
    EXPECT_EQ(Calls().OpenKeys(), 0);
    EXPECT_EQ(Calls().OpenCertificates(), 0);
}

TEST_F(RestoreTest, WhatIsNoPfxIsBadDataWhateverThePassword) {
    for (const Bytes& document :
         {Bytes{}, Bytes{0x30, 0x00}, Bytes{'-', '-'}, test_support::NestedSequences(50)}) {
        ExpectError(document, kBadData);
        ExpectError(document, kBadData, 0, "");
    }
    EXPECT_EQ(Calls().Count("CryptAcquireContextA"), 0);
    EXPECT_EQ(Calls().Count("MultiByteToWideChar"), 0);
}

TEST_F(RestoreTest, WithoutADocumentItIsBadData) {
    EXPECT_EQ(pkisdk::RestorePfxToMemoryStore("Password1", nullptr, "", 0), nullptr);
    EXPECT_EQ(GetLastError(), kBadData);
}

TEST_F(RestoreTest, AWrongPasswordIsToldAfterTwoVerifications) {
    ExpectError(Document(), kWrongPassword, 0, "password1");
    EXPECT_EQ(Calls().Acquisitions().size(), 2u);
    EXPECT_EQ(Calls().Count("CertOpenStore"), 0);
}

TEST_F(RestoreTest, AnEmptyPasswordFailsTwice) {
    ExpectError(Document(), ERROR_INVALID_PASSWORD, 0, "");
    EXPECT_EQ(Calls().Acquisitions().size(), 2u);
}

TEST_F(RestoreTest, AnEmptyPasswordIsNotLookedAtWhereTheDigestIsUnknown) {
    test_support::PfxBuilder builder;
    builder.digestOid = {0x2A, 0x03, 0x04};
    ExpectError(builder.Build(), static_cast<DWORD>(CRYPT_E_NOT_FOUND), 0, "");
    EXPECT_EQ(Calls().Count("CryptFindOIDInfo"), 2);
}

TEST_F(RestoreTest, AVerificationThatFailsOnceIsNoFailure) {
    Calls().FailNamed("CryptAcquireContextA", 1, kInjected);
    const CertStore store = Restore(Document());
    EXPECT_TRUE(store);
    EXPECT_EQ(GetLastError(), 0u);
}

TEST_F(RestoreTest, OfTwoFailedVerificationsTheSecondOnesWordIsTold) {
    Calls().FailNamed("CryptAcquireContextA", 2, kInjected + 1);
    ExpectError(Document(), kInjected + 1, 0, "password1");
    Calls().FailNamed("CryptAcquireContextA", 1, kInjected + 1);
    ExpectError(Document(), kWrongPassword, 0, "password1");
}

TEST_F(RestoreTest, CertificatesWithoutKeysAreRestored) {
    const CertStore store = Restore(DocumentOf({Certificates(), PlainContentInfo({})}));
    ASSERT_TRUE(store);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(CertificatesOf(store.Get()), std::vector<Bytes>{certificate_});
    EXPECT_EQ(UserContainers(), 0u);
}

// The outermost content is of type data, and so is what was encrypted.
TEST_F(RestoreTest, TheEncryptedContentsOwnTypeIsTheSecondDataIdentifier) {
    const CertStore store = Restore(DocumentOf({Certificates()}));
    EXPECT_TRUE(store);
    EXPECT_EQ(GetLastError(), 0u);
}

TEST_F(RestoreTest, WithoutMemoryForTheWidePasswordItSaysSo) {
    const Bytes document = Document();
    const Blob blob = ToBlob(document);
    CHeap::Get().FailCalloc(true);
    HCERTSTORE const store = pkisdk::RestorePfxToMemoryStore("Password1", &blob, "", 0);
    CHeap::Get().FailCalloc(false);
    EXPECT_EQ(store, nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
    EXPECT_EQ(Calls().Count("CryptAcquireContextA"), 0);
}

TEST_F(RestoreTest, AStoreThatCannotBeOpenedIsThePlatformsWord) {
    Calls().FailNamed("CertOpenStore", 1, kInjected + 1);
    ExpectError(Document(), kInjected + 1);
}

TEST_F(RestoreTest, WhereCertificatesFailNoContainerIsTouched) {
    ExpectError(DocumentOf({PlainContentInfo({Key()})}), kBadData);
    Encryption unknown;
    unknown.cipher = "1.2.3";
    ExpectError(DocumentOf({EncryptedContentInfo({}, unknown), PlainContentInfo({Key()})}),
                kBadAlgorithm);
    Encryption incomplete;
    incomplete.withPrfParameters = false;
    ExpectError(DocumentOf({EncryptedContentInfo({}, incomplete), PlainContentInfo({Key()})}),
                kCorrupt);
    Calls().FailNamed("CryptDecrypt", 1, kInjected + 1);
    ExpectError(Document(), kInjected + 1);
}

TEST_F(RestoreTest, WhereAKeyFailsTheEarlierKeysStayAndTheStoreIsClosed) {
    KeyBag unknown;
    unknown.encryption.prf = "1.2.3";
    ExpectError(
        DocumentOf({Certificates(), PlainContentInfo({Key(), Key(2), unknown.Build(), Key(3)})}),
        kBadAlgorithm, 2);
    // The container of the key that is refused is there, empty.
    Calls().FailNamed("CryptImportKey", 2, kInjected + 1);
    ExpectError(DocumentOf({Certificates(), PlainContentInfo({Key(), Key(2), Key(3)})}),
                kInjected + 1, 4);
}

TEST_F(RestoreTest, AStepThatFailsAndLeavesNoErrorLeavesTheStoreOpen) {
    failKeysWithoutError = true;
    const CertStore store = Restore(Document());
    EXPECT_TRUE(store);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(CertificatesOf(store.Get()), std::vector<Bytes>{certificate_});
    EXPECT_EQ(UserContainers(), 0u);
}

// The import of the keys answers success then.
TEST_F(RestoreTest, AKeyThatIsRefusedWithoutAnErrorEndsNothing) {
    Calls().FailNamed("CryptImportKey", 1, 0);
    const CertStore store = Restore(Document());
    EXPECT_TRUE(store);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(CertificatesOf(store.Get()).size(), 1u);
    EXPECT_EQ(UserContainers(), 1u);
}

TEST_F(RestoreTest, BitZeroOfTheControlFlagsMakesThePasswordThePin) {
    pkisdk::ImportControlFlags = 2;
    EXPECT_TRUE(Restore(Document()));
    EXPECT_TRUE(Calls().ProviderParams().empty());
    pkisdk::ImportControlFlags = 3;
    EXPECT_TRUE(Restore(Document()));
    ASSERT_EQ(Calls().ProviderParams().size(), 1u);
    EXPECT_EQ(Calls().ProviderParams()[0].text, "Password1");
}

TEST_F(RestoreTest, TheControlFlagsAreSampledAtTheStart) {
    const CRYPT_OID_INFO* const row =
        CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, std::string("1.2.643.2.2.21").data(), 0);
    CRYPT_OID_INFO cipher = *row;
    CRYPT_OID_INFO digest = cipher;
    digest.Algid = 0x8021;
    Calls().ReplaceOidInfo([&](const char* oid) -> PCCRYPT_OID_INFO {
        pkisdk::ImportControlFlags = 1;
        return std::string(oid) == "1.2.643.2.2.21" ? &cipher : &digest;
    });
    EXPECT_TRUE(Restore(Document()));
    EXPECT_EQ(pkisdk::ImportControlFlags, 1u);
    EXPECT_TRUE(Calls().ProviderParams().empty());
}

TEST_F(RestoreTest, FlagsReachTheKeys) {
    EXPECT_TRUE(Restore(Document(), "Password1", CRYPT_EXPORTABLE | CRYPT_MACHINE_KEYSET));
    EXPECT_EQ(UserContainers(), 0u);
    EXPECT_EQ(MachineContainers(), 1u);
    EXPECT_EQ(Calls().KeyImports()[0].flags, DWORD{CRYPT_EXPORTABLE});
}

// As many octets as the password has characters, which leaves the rest of the text.
TEST_F(RestoreTest, TheWidePasswordIsWipedInPart) {
    for (const bool isRight : {true, false}) {
        const std::string password = isRight ? "Password1" : "password2";
        CHeap::Get().Reset();
        CHeap::Get().WatchFree(true);
        const Bytes document = Document();
        const Blob blob = ToBlob(document);
        const CertStore store(pkisdk::RestorePfxToMemoryStore(password.c_str(), &blob, "", 0));
        CHeap::Get().WatchFree(false);
        EXPECT_EQ(static_cast<bool>(store), isRight);
        const auto& freed = CHeap::Get().Freed();
        ASSERT_GE(freed.size(), 10 * sizeof(wchar_t));
        std::vector<unsigned char> expected(freed.size());
        const std::wstring wide(password.begin(), password.end());
        std::memcpy(expected.data(), wide.data(), wide.size() * sizeof(wchar_t));
        std::fill_n(expected.begin(), wide.size(), static_cast<unsigned char>(0));
        EXPECT_EQ(freed, expected);
    }
}

// An exception on the way is the caller's; no wipe happens then, and nothing stays open.
TEST_F(RestoreTest, AnExceptionOfTheVerificationPassesThrough) {
    Calls().ReplaceOidInfo([](const char*) -> PCCRYPT_OID_INFO { throw std::bad_alloc(); });
    const Bytes document = Document();
    const Blob blob = ToBlob(document);
    CHeap::Get().WatchFree(true);
    EXPECT_THROW(pkisdk::RestorePfxToMemoryStore("Password1", &blob, "", 0), std::bad_alloc);
    CHeap::Get().WatchFree(false);
    const auto& freed = CHeap::Get().Freed();
    ASSERT_GE(freed.size(), sizeof(wchar_t));
    EXPECT_EQ(freed[0], 'P');
}

}  // namespace
