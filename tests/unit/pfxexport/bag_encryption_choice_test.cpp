#include "pfxexport/bag_encryption_choice.h"

#include <gtest/gtest.h>

#include "support/export_fixture.h"

namespace {

using pkisdk::FindCipherOid;
using pkisdk::FindEncryptionOids;

TEST(FindEncryptionOids, TheHashOf94HasItsOwn) {
    const auto* const oids = FindEncryptionOids(32798);
    ASSERT_NE(oids, nullptr);
    EXPECT_STREQ(oids->prf, "1.2.643.2.2.10");
    EXPECT_STREQ(oids->cipherParameters, "1.2.643.2.2.31.1");
}

TEST(FindEncryptionOids, BothHashesOf2012BearTheFunctionOf512Bits) {
    for (const ALG_ID hash : {32801U, 32802U}) {
        const auto* const oids = FindEncryptionOids(hash);
        ASSERT_NE(oids, nullptr);
        EXPECT_STREQ(oids->prf, "1.2.643.7.1.1.4.2");
        EXPECT_STREQ(oids->cipherParameters, "1.2.643.7.1.2.5.1.1");
    }
}

TEST(FindEncryptionOids, OtherHashesHaveNone) {
    EXPECT_EQ(FindEncryptionOids(32772), nullptr);
    EXPECT_EQ(FindEncryptionOids(0), nullptr);
}

class FindCipherOidTest : public test_support::ExportTest {};

TEST_F(FindCipherOidTest, AsksThePlatformForTheCipherByItsAlgorithm) {
    std::string oid;
    ASSERT_TRUE(FindCipherOid(&oid));
    EXPECT_EQ(oid, "1.2.643.2.2.21");
    static CRYPT_OID_INFO row{};
    row.pszOID = "1.2.3";
    Calls().ReplaceAlgorithmInfo([](ALG_ID algorithm, DWORD group) {
        return algorithm == 26142 && group == 2 ? &row : nullptr;
    });
    ASSERT_TRUE(FindCipherOid(&oid));
    EXPECT_EQ(oid, "1.2.3");
}

TEST_F(FindCipherOidTest, APlatformWithoutItHasNone) {
    std::string oid;
    Calls().FailNamed("CryptFindOIDInfo", 1, test_support::kInjected);
    EXPECT_FALSE(FindCipherOid(&oid));
    static const CRYPT_OID_INFO nameless{};
    Calls().ReplaceAlgorithmInfo([](ALG_ID, DWORD) { return &nameless; });
    EXPECT_FALSE(FindCipherOid(&oid));
}

}  // namespace
