#include "schema/encr_content_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "foundation/asn_exceptions.h"
#include "support/asn_values.h"
#include "support/schema_samples.h"

namespace {

using pkisdk::asn::BadAsnContent;
using support::FromHex;
using support::ReadFailure;
using support::ReadHex;
using support::TextOf;
using support::ToHex;
using support::WrittenHex;

const std::string kOid = "06 09 2A 86 48 86 F7 0D 01 07 01 ";
// The defaults, without content and with one octet of it.
const std::string kEmptyInfo = "30 52 " + kOid + support::kDefaultPbes2AlgIdentifier;
const std::string kInfo = "30 55 " + kOid + support::kDefaultPbes2AlgIdentifier + " 80 01 AA";

TEST(EncrContentInfo, WithoutContentItHasTwoElements) {
    const EncrContentInfo info;
    EXPECT_EQ(TextOf(info.oid), "1.2.840.113549.1.7.1");
    EXPECT_EQ(WrittenHex(info), kEmptyInfo);
}

TEST(EncrContentInfo, ContentIsAPrimitiveContextTag) {
    EncrContentInfo info;
    info.EncryptedData = FromHex("AA");
    EXPECT_EQ(WrittenHex(info), kInfo);
}

TEST(EncrContentInfo, ReadsItsContent) {
    EncrContentInfo info;
    EXPECT_TRUE(ReadHex(info, kInfo));
    EXPECT_EQ(ToHex(info.EncryptedData), "AA");
    EXPECT_EQ(WrittenHex(info), kInfo);
}

TEST(EncrContentInfo, DataWithoutTheThirdElementLeavesTheContentEmpty) {
    EncrContentInfo info;
    info.EncryptedData = FromHex("BB");
    EXPECT_TRUE(ReadHex(info, kEmptyInfo));
    EXPECT_TRUE(info.EncryptedData.IsEmpty());
}

TEST(EncrContentInfo, ContentInConstructedFormIsNotTaken) {
    EncrContentInfo info;
    info.EncryptedData = FromHex("BB");
    EXPECT_TRUE(
        ReadHex(info, "30 57 " + kOid + support::kDefaultPbes2AlgIdentifier + " A0 03 04 01 AA"));
    EXPECT_TRUE(info.EncryptedData.IsEmpty());
}

TEST(EncrContentInfo, ReadingClearsEveryFieldFirstButForHparams) {
    EncrContentInfo info;
    info.EncryptedData = FromHex("BB");
    info.PBES2Sheme.KezDeriv.additionalInfo.Hparams = FromHex("CC");
    EXPECT_EQ(ReadFailure<BadAsnContent>(info, "30 00"),
              " Bad ASN object content. Unexpacted end of ASN object. Context: "
              "\"EncrContentInfo::\". Object: offset - 0; identifier - \"Sequence\". ");
    EXPECT_TRUE(info.oid.GetOctets().IsEmpty());
    EXPECT_TRUE(info.PBES2Sheme.oid.GetOctets().IsEmpty());
    EXPECT_TRUE(info.EncryptedData.IsEmpty());
    EXPECT_EQ(ToHex(info.PBES2Sheme.KezDeriv.additionalInfo.Hparams), "CC");
}

TEST(EncrContentInfo, AWrongOidShowsThePath) {
    EncrContentInfo object;
    EXPECT_THAT(ReadFailure<pkisdk::asn::UnexpactedAsnIdentifier>(object, "30 02 05 00"),
                testing::HasSubstr("Context: \"EncrContentInfo::.oid\"."));
}

}  // namespace
