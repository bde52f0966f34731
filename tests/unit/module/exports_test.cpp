#include <gtest/gtest.h>

#include "mvlpfx/mvlpfx.h"
#include "pfximport/import_control_flags.h"
#include "support/pfx_builder.h"

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
