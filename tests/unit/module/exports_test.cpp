#include <gtest/gtest.h>

#include "mvlpfx/mvlpfx.h"
#include "pfximport/import_control_flags.h"
#include "support/import_fixture.h"

namespace {

using test_support::Bytes;
using test_support::PfxBuilder;

BOOL Verify(Bytes document, LPCWSTR password) {
    const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    return UzVerifyPswPFX(&pfx, password);
}

TEST(UzVerifyPswPFX, ConvertsThePasswordAndCopiesTheDocument) {
    PfxBuilder builder;
    builder.password = "Пароль";
    EXPECT_EQ(Verify(builder.Build(), L"Пароль"), TRUE);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(Verify(builder.Build(), L"пароль"), FALSE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD));
}

TEST(UzVerifyPswPFX, ANullPasswordIsAnEmptyOne) {
    for (LPCWSTR password : {static_cast<LPCWSTR>(nullptr), L""}) {
        EXPECT_EQ(Verify(PfxBuilder().Build(), password), FALSE);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PASSWORD));
    }
}

TEST(UzVerifyPswPFX, AnEmptyRecordIsBadData) {
    const PfxBlob pfx{0, nullptr};
    EXPECT_EQ(UzVerifyPswPFX(&pfx, L"Password1"), FALSE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA));
}

// A certificate with its key and its issuer.
class UzRestoreTest : public test_support::ImportTest {
  protected:
    using Function = HCERTSTORE (*)(const PfxBlob*, LPCWSTR, DWORD);
    static constexpr Function kBoth[] = {UzRestorePFX, UzRestorePFXToSystemStorage};

    HCERTSTORE Restore(Function restore, LPCWSTR password = L"Пароль", DWORD flags = 0) const {
        Bytes document = document_;
        const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
        SetLastError(test_support::kInjected);
        return restore(&pfx, password, flags);
    }
    static void ExpectStore(HCERTSTORE store, const std::vector<Bytes>& certificates) {
        ASSERT_NE(store, nullptr) << std::hex << GetLastError();
        EXPECT_EQ(test_support::CertificatesOf(store), certificates);
        CertCloseStore(store, 0);
    }
    static void ExpectStored(const wchar_t* name, const std::vector<Bytes>& certificates,
                             DWORD location = CERT_SYSTEM_STORE_CURRENT_USER) {
        ExpectStore(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, location, name), certificates);
    }

    const Bytes leaf_ = test_support::MakeCertificate("leaf", "issuer");
    const Bytes issuer_ = test_support::MakeCertificate("issuer", "root");
    const Bytes document_ = MakeDocument();

  private:
    Bytes MakeDocument() const {
        const Bytes id = test_support::LocalKeyId({1, 0, 0, 0});
        test_support::KeyBag key;
        key.password = "Пароль";
        key.attributes = {id};
        return test_support::DocumentOf(
            {test_support::EncryptedContentInfo({test_support::CertificateBag{leaf_, {id}}.Build(),
                                                 test_support::CertificateBag{issuer_, {}}.Build()},
                                                {}, key.password),
             test_support::PlainContentInfo({key.Build()})},
            key.password);
    }
};

TEST_F(UzRestoreTest, UzRestorePFXGivesTheStoreAndLeavesSystemStoresAlone) {
    HCERTSTORE const store = Restore(UzRestorePFX);
    EXPECT_EQ(GetLastError(), 0u);
    ExpectStore(store, {leaf_, issuer_});
    EXPECT_EQ(UserContainers(), 1u);
    ExpectStored(L"MY", {});
    ExpectStored(L"ROOT", {});
}

TEST_F(UzRestoreTest, UzRestorePFXToSystemStorageFilesTheCertificatesToo) {
    HCERTSTORE const store = Restore(UzRestorePFXToSystemStorage);
    EXPECT_EQ(GetLastError(), 0u);
    ExpectStore(store, {leaf_, issuer_});
    ExpectStored(L"MY", {leaf_});
    ExpectStored(L"CA", {});
    ExpectStored(L"ROOT", {issuer_});
}

TEST_F(UzRestoreTest, FlagsAreHandedOn) {
    CertCloseStore(
        Restore(UzRestorePFXToSystemStorage, L"Пароль", CRYPT_EXPORTABLE | CRYPT_MACHINE_KEYSET),
        0);
    EXPECT_EQ(MachineContainers(), 1u);
    EXPECT_EQ(Calls().KeyImports()[0].flags, DWORD{CRYPT_EXPORTABLE});
    ExpectStored(L"MY", {leaf_}, CERT_SYSTEM_STORE_LOCAL_MACHINE);
    ExpectStored(L"MY", {});
}

TEST_F(UzRestoreTest, ANullPasswordIsAnEmptyOne) {
    for (const Function restore : kBoth) {
        for (LPCWSTR password : {static_cast<LPCWSTR>(nullptr), L""}) {
            EXPECT_EQ(Restore(restore, password), nullptr);
            EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PASSWORD));
        }
    }
}

TEST_F(UzRestoreTest, WhatTheDriverRefusesIsNullWithItsWord) {
    for (const Function restore : kBoth) {
        EXPECT_EQ(Restore(restore, L"пароль"), nullptr);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD));
        const PfxBlob empty{0, nullptr};
        EXPECT_EQ(restore(&empty, L"Пароль", 0), nullptr);
        EXPECT_EQ(GetLastError(), test_support::kBadData);
    }
    ExpectStored(L"MY", {});
}

TEST_F(UzRestoreTest, WhatTheDriverRefusesHasNoStoreToWalk) {
    EXPECT_EQ(Restore(UzRestorePFXToSystemStorage, L"пароль"), nullptr);
    EXPECT_EQ(Calls().Count("CertEnumCertificatesInStore"), 0);
}

TEST_F(UzRestoreTest, WithoutSystemStoresTheMemoryStoreIsAnsweredAndTheLastErrorTells) {
    // The first store opened is the one in memory.
    for (const int n : {2, 3, 4}) {
        Calls().FailNamed("CertOpenStore", n, 5);
        HCERTSTORE const store = Restore(UzRestorePFXToSystemStorage);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_FAIL));
        ExpectStore(store, {leaf_, issuer_});
    }
    ExpectStored(L"MY", {leaf_});
    ExpectStored(L"ROOT", {});
}

TEST_F(UzRestoreTest, OfTheControlFlagsBitZeroAloneCounts) {
    UzSetImportPfxControlFlags(2);
    CertCloseStore(Restore(UzRestorePFX), 0);
    EXPECT_TRUE(Calls().ProviderParams().empty());
    UzSetImportPfxControlFlags(1);
    CertCloseStore(Restore(UzRestorePFX), 0);
    ASSERT_EQ(Calls().ProviderParams().size(), 1u);
    EXPECT_EQ(Calls().ProviderParams()[0].text, "Пароль");
    // A restore does not reset them.
    EXPECT_EQ(pkisdk::ImportControlFlags, 1u);
}

TEST(UzSetImportPfxControlFlags, TheWordIsZeroWhenTheModuleIsLoaded) {
    EXPECT_EQ(pkisdk::ImportControlFlags, 0u);
}

TEST(UzSetImportPfxControlFlags, ReplacesTheWholeWord) {
    UzSetImportPfxControlFlags(0xFFFFFFFF);
    EXPECT_EQ(pkisdk::ImportControlFlags, 0xFFFFFFFFu);
    UzSetImportPfxControlFlags(2);
    EXPECT_EQ(pkisdk::ImportControlFlags & 1, 0u);
    EXPECT_EQ(pkisdk::ImportControlFlags, 2u);
    UzSetImportPfxControlFlags(0);
}

}  // namespace
