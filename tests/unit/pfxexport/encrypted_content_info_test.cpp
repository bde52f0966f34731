#include "pfxexport/encrypted_content_info.h"

#include <gtest/gtest.h>

#include "support/der_outline.h"
#include "support/export_fixture.h"
#include "support/pfx_builder.h"

namespace {

using pkisdk::Blob;
using pkisdk::BuildEncryptedContentInfo;
using pkisdk::DerList;
using test_support::Bytes;
using test_support::Element;
using test_support::Join;
using test_support::kInjected;

const Bytes kCipherText = {0x30, 0x03, 0x02, 0x01, 0x05};
const Bytes kSalt(32, 0x51);
const Bytes kVector = {0xA1, 2, 3, 4, 5, 6, 7, 8};

Blob ToBlob(const Bytes& bytes) {
    return Blob(bytes.data(), bytes.size());
}

// EncryptedData with these identifiers, written out.
Bytes EncryptedData(const char* prf, const char* cipherParameters) {
    const Bytes derivation =
        Element(0x30, Join({Element(0x04, kSalt), outline::FromHex("02 02 07 D0"),
                            Element(0x30, Join({outline::FromHex(prf), {0x05, 0x00}}))}));
    const Bytes pbkdf2 =
        Element(0x30, Join({outline::FromHex("06 09 2A 86 48 86 F7 0D 01 05 0C"), derivation}));
    const Bytes gost = Element(
        0x30,
        Join({outline::FromHex("06 06 2A 85 03 02 02 15"),
              Element(0x30, Join({Element(0x04, kVector), outline::FromHex(cipherParameters)}))}));
    const Bytes scheme = Element(0x30, Join({outline::FromHex("06 09 2A 86 48 86 F7 0D 01 05 0D"),
                                             Element(0x30, Join({pbkdf2, gost}))}));
    const Bytes info = Element(0x30, Join({outline::FromHex("06 09 2A 86 48 86 F7 0D 01 07 01"),
                                           scheme, Element(0x80, kCipherText)}));
    return Element(0x30, Join({{0x02, 0x01, 0x00}, info}));
}

Bytes ContentInfo(const Bytes& content) {
    return Element(
        0x30, Join({outline::FromHex("06 09 2A 86 48 86 F7 0D 01 07 06"), Element(0xA0, content)}));
}

Bytes Of94() {
    return EncryptedData("06 06 2A 85 03 02 02 0A", "06 07 2A 85 03 02 02 1F 01");
}

class BuildEncryptedContentInfoTest : public test_support::ExportTest {
  protected:
    int Build(DerList* list, ALG_ID hash = 32798, ALG_ID keyAlgorithm = 26142) {
        SetLastError(kInjected);
        return BuildEncryptedContentInfo(list, ToBlob(kCipherText), ToBlob(kSalt), ToBlob(kVector),
                                         keyAlgorithm, hash, 2000);
    }
    void ExpectDocument(const Bytes& expected, ALG_ID hash, ALG_ID keyAlgorithm = 26142) {
        EXPECT_EQ(Build(&list_, hash, keyAlgorithm), 1);
        EXPECT_EQ(GetLastError(), 0u);
        EXPECT_EQ(outline::FlattenToHex(list_), outline::ToHex(ToBlob(expected)));
    }

    DerList list_;
};

TEST_F(BuildEncryptedContentInfoTest, WritesTheContentOfEachHash) {
    ExpectDocument(ContentInfo(Of94()), 32798);
    const Bytes of2012 =
        EncryptedData("06 08 2A 85 03 07 01 01 04 02", "06 09 2A 85 03 07 01 02 05 01 01");
    ExpectDocument(ContentInfo(of2012), 32801);
    ExpectDocument(ContentInfo(of2012), 32802);
}

TEST_F(BuildEncryptedContentInfoTest, TheContentIsALeafAlthoughItsTextReadsAsAnElement) {
    ASSERT_EQ(Build(&list_), 1);
    ASSERT_EQ(list_.size(), 3u);
    EXPECT_EQ(list_.back().depth, 1);
    EXPECT_EQ(list_.back().tag, 0xA0);
    EXPECT_EQ(list_.back().content, ToBlob(Of94()));
}

TEST_F(BuildEncryptedContentInfoTest, ReplacesWhatTheListHeld) {
    list_ = outline::Parse("30 03 02 01 05");
    ExpectDocument(ContentInfo(Of94()), 32798);
}

TEST_F(BuildEncryptedContentInfoTest, TheKeyAlgorithmCountsForNothing) {
    ExpectDocument(ContentInfo(Of94()), 32798, 0x6610);
}

TEST_F(BuildEncryptedContentInfoTest, AnotherHashIsABadAlgorithmAlsoWithoutAList) {
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, Build(&list_, 32772));
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, Build(nullptr, 0));
}

TEST_F(BuildEncryptedContentInfoTest, AMissingListIsBadData) {
    EXPECT_FAILS_WITH(NTE_BAD_DATA, Build(nullptr));
}

TEST_F(BuildEncryptedContentInfoTest, ACipherWithoutOidIsABadAlgorithm) {
    Calls().ReplaceAlgorithmInfo([](ALG_ID, DWORD) -> PCCRYPT_OID_INFO { return nullptr; });
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, Build(&list_));
}

TEST_F(BuildEncryptedContentInfoTest, AnExceptionIsCorruptAsn1) {
    static CRYPT_OID_INFO row{};
    row.pszOID = "no identifier";
    Calls().ReplaceAlgorithmInfo([](ALG_ID, DWORD) -> PCCRYPT_OID_INFO { return &row; });
    EXPECT_FAILS_WITH(CRYPT_E_ASN1_CORRUPT, Build(&list_));
}

}  // namespace
