#include "capi/last_error.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(LastError, IsWhatWasSet) {
    SetLastError(0x8009001A);
    EXPECT_EQ(GetLastError(), 0x8009001AU);
    SetLastError(0);
    EXPECT_EQ(GetLastError(), 0U);
}

TEST(LastError, IsEachThreadsOwnAndZeroInANewOne) {
    SetLastError(7);
    std::thread([] {
        EXPECT_EQ(GetLastError(), 0U);
        SetLastError(8);
    }).join();
    EXPECT_EQ(GetLastError(), 7U);
}

// The words that documents of the platform give.
TEST(LastError, WordsAreThePlatforms) {
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_UID), 0x80090001U);
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), 0x80090005U);
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_ALGID), 0x80090008U);
    EXPECT_EQ(static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD), 0x8009001AU);
    EXPECT_EQ(static_cast<DWORD>(NTE_FAIL), 0x80090020U);
    EXPECT_EQ(static_cast<DWORD>(NTE_INVALID_PARAMETER), 0x80090027U);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_E_NOT_FOUND), 0x80092004U);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT), 0x80093103U);
    EXPECT_TRUE(FAILED(NTE_FAIL));
    EXPECT_TRUE(SUCCEEDED(S_OK));
}

}  // namespace
