#include "schema/encr_additional_info.h"

#include <gtest/gtest.h>

#include "foundation/asn_exceptions.h"
#include "support/asn_values.h"
#include "support/schema_samples.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::ReadFailure;
using support::ReadHex;
using support::TextOf;
using support::ToHex;
using support::WrittenHex;

TEST(EncrAdditionalInfo, DefaultIsTheCryptoProParameterSetWithoutAVector) {
    const EncrAdditionalInfo info;
    EXPECT_TRUE(info.Synchr.IsEmpty());
    EXPECT_EQ(TextOf(info.EncrParams), "1.2.643.2.2.31.1");
    EXPECT_EQ(WrittenHex(info), support::kDefaultEncrAdditionalInfo);
}

TEST(EncrAdditionalInfo, ReadsWhatTheDataSays) {
    EncrAdditionalInfo info;
    EXPECT_TRUE(ReadHex(info, "30 08 04 02 AA BB 06 02 55 04"));
    EXPECT_EQ(ToHex(info.Synchr), "AA BB");
    EXPECT_EQ(TextOf(info.EncrParams), "2.5.4");
    EXPECT_EQ(WrittenHex(info), "30 08 04 02 AA BB 06 02 55 04");
}

TEST(EncrAdditionalInfo, NullIsTakenAndLeavesBothFieldsEmpty) {
    EncrAdditionalInfo info;
    info.Synchr = FromHex("AA");
    EXPECT_TRUE(ReadHex(info, "05 00"));
    EXPECT_TRUE(info.Synchr.IsEmpty());
    EXPECT_TRUE(info.EncrParams.GetOctets().IsEmpty());
    EXPECT_EQ(WrittenHex(info), "30 04 04 00 06 00");
}

TEST(EncrAdditionalInfo, PassesTheGivenContextOnEvenIfItIsEmpty) {
    EncrAdditionalInfo info;
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(info, "30 02 05 00"),
              " Unexpactid ASN identifier: current is \"Null\", but expacted \"OctetString\". "
              "Context: \".Synchr\". Object: offset - 2; identifier - \"Null\". ");
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(info, "30 04 04 00 05 00", "Path"),
              " Unexpactid ASN identifier: current is \"Null\", but expacted \"ObjectId\". "
              "Context: \"Path.EncrParams\". Object: offset - 4; identifier - \"Null\". ");
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(info, "31 00"),
              " Unexpactid ASN identifier: current is \"Set\", but expacted \"Sequence\". Object: "
              "offset - 0; identifier - \"Set\". ");
}

TEST(EncrAdditionalInfo, WhatWasReadBeforeAFailureStaysAndTheRestIsCleared) {
    EncrAdditionalInfo info;
    EXPECT_EQ(ReadFailure<BadAsnContent>(info, "30 03 04 01 AA"),
              " Bad ASN object content. Unexpacted end of ASN object. Object: offset - 0; "
              "identifier - \"Sequence\". ");
    EXPECT_EQ(ToHex(info.Synchr), "AA");
    EXPECT_TRUE(info.EncrParams.GetOctets().IsEmpty());
}

TEST(EncrAdditionalInfo, ElementsBehindTheLastMemberAreIgnored) {
    EncrAdditionalInfo info;
    EXPECT_TRUE(ReadHex(info, "30 0A 04 02 AA BB 06 02 55 04 05 00"));
    EXPECT_EQ(WrittenHex(info), "30 08 04 02 AA BB 06 02 55 04");
}

TEST(EncrAdditionalInfo, TagOfNullInLongFormIsNotNull) {
    EncrAdditionalInfo info;
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(info, "1F 05 00"),
              " Unexpactid ASN identifier: current is \"31\", but expacted \"Sequence\". Object: "
              "offset - 0; identifier - \"31\". ");
}

}  // namespace
}  // namespace pkisdk::asn
