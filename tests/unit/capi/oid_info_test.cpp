#include "capi/oid_info.h"

#include <gtest/gtest.h>

#include <string>

#include "capi/last_error.h"
#include "support/last_error.h"

extern "C" DWORD CallsFromC();

namespace {

struct Row {
    const char* oid;
    ALG_ID algorithm;
    DWORD group;
};

constexpr Row kRows[] = {
    {"1.2.643.2.2.21", 0x661E, 2},    {"1.2.643.2.2.9", 0x801E, 1},
    {"1.2.643.7.1.1.2.2", 0x8021, 1}, {"1.2.643.7.1.1.2.3", 0x8022, 1},
    {"1.3.14.3.2.26", 0x8004, 1},     {"1.2.643.2.2.19", 0x2E23, 3},
    {"1.2.643.2.2.98", 0xAA24, 3},    {"1.2.643.7.1.1.1.1", 0x2E49, 3},
    {"1.2.643.7.1.1.1.2", 0x2E3D, 3},
};

PCCRYPT_OID_INFO FindOid(std::string oid, DWORD group) {
    return CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, oid.data(), group);
}

PCCRYPT_OID_INFO FindAlgorithm(ALG_ID algorithm, DWORD group) {
    return CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &algorithm, group);
}

TEST(CryptFindOIDInfo, FindsEveryRowByItsIdentifierInAnyGroupAndItsOwn) {
    for (const Row& row : kRows) {
        for (const DWORD group : {DWORD{0}, row.group}) {
            const PCCRYPT_OID_INFO found = FindOid(row.oid, group);
            ASSERT_NE(found, nullptr) << row.oid;
            EXPECT_EQ(found->cbSize, sizeof(CRYPT_OID_INFO));
            EXPECT_STREQ(found->pszOID, row.oid);
            EXPECT_EQ(found->Algid, row.algorithm);
            EXPECT_EQ(found->dwGroupId, row.group);
        }
    }
}

TEST(CryptFindOIDInfo, FindsEveryRowByItsAlgorithm) {
    for (const Row& row : kRows) {
        const PCCRYPT_OID_INFO found = FindAlgorithm(row.algorithm, 0);
        ASSERT_NE(found, nullptr) << row.oid;
        EXPECT_STREQ(found->pszOID, row.oid);
        EXPECT_EQ(FindAlgorithm(row.algorithm, row.group), found);
    }
}

TEST(CryptFindOIDInfo, FindsARowByItsName) {
    std::wstring name = L"SHA1";
    const PCCRYPT_OID_INFO found = CryptFindOIDInfo(CRYPT_OID_INFO_NAME_KEY, name.data(), 0);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->Algid, ALG_ID{CALG_SHA1});
}

TEST(CryptFindOIDInfo, LeavesTheLastErrorAloneOnAHit) {
    SetLastError(4711);
    EXPECT_NE(FindOid("1.2.643.2.2.9", 0), nullptr);
    EXPECT_EQ(GetLastError(), 4711U);
}

TEST(CryptFindOIDInfo, LeavesNotFoundAsTheLastErrorOnAMiss) {
    ALG_ID md5 = 0x8003;
    for (const std::string oid : {"2.16.840.1.101.3.4.2.1", "", "1.2.643.2.2", "1.2.643.2.2.9.0"}) {
        EXPECT_FAILS_WITH(CRYPT_E_NOT_FOUND, FindOid(oid, 0)) << oid;
    }
    EXPECT_FAILS_WITH(CRYPT_E_NOT_FOUND, FindOid("1.2.643.2.2.9", 2));
    EXPECT_FAILS_WITH(CRYPT_E_NOT_FOUND, FindAlgorithm(md5, 0));
    EXPECT_FAILS_WITH(CRYPT_E_NOT_FOUND, FindAlgorithm(0x801E, 3));
    EXPECT_FAILS_WITH(CRYPT_E_NOT_FOUND, CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, nullptr, 0));
    EXPECT_FAILS_WITH(CRYPT_E_NOT_FOUND, CryptFindOIDInfo(99, &md5, 0));
}

TEST(CryptFindOIDInfo, AnswersACallerInC) {
    EXPECT_EQ(CallsFromC(), 0x8022U);
}

}  // namespace
