#include "schema/pbkdf2_additional_info.h"

#include <gmock/gmock.h>
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

TEST(PBKDF2AdditionalInfo, DefaultIsTheHmacOfGost94WithoutASalt) {
    const PBKDF2AdditionalInfo info;
    EXPECT_TRUE(info.Synchr.IsEmpty());
    EXPECT_EQ(info.IterCount, 2000U);
    EXPECT_EQ(TextOf(info.EncrParams), "1.2.643.2.2.10");
    EXPECT_TRUE(info.Hparams.IsEmpty());
    EXPECT_EQ(WrittenHex(info), support::kDefaultPbkdf2AdditionalInfo);
}

TEST(PBKDF2AdditionalInfo, HparamsAreWrittenAsAnOctetString) {
    PBKDF2AdditionalInfo info;
    info.Hparams = FromHex("AA");
    EXPECT_EQ(WrittenHex(info), "30 13 04 00 02 02 07 D0 30 0B 06 06 2A 85 03 02 02 0A 04 01 AA");
}

TEST(PBKDF2AdditionalInfo, ReadFromItsDefaultEncodingLeavesHparamsUnchanged) {
    PBKDF2AdditionalInfo info;
    info.Synchr = FromHex("AA");
    info.IterCount = 7;
    info.Hparams = FromHex("BB");
    EXPECT_TRUE(ReadHex(info, support::kDefaultPbkdf2AdditionalInfo));
    EXPECT_TRUE(info.Synchr.IsEmpty());
    EXPECT_EQ(info.IterCount, 2000U);
    EXPECT_EQ(TextOf(info.EncrParams), "1.2.643.2.2.10");
    EXPECT_EQ(ToHex(info.Hparams), "BB");
}

TEST(PBKDF2AdditionalInfo, HparamsOfTheDataReplaceTheEarlierOnes) {
    PBKDF2AdditionalInfo info;
    info.Hparams = FromHex("BB");
    EXPECT_TRUE(ReadHex(info, "30 0E 04 01 CC 02 01 05 30 06 06 01 2A 04 01 AA"));
    EXPECT_EQ(ToHex(info.Synchr), "CC");
    EXPECT_EQ(info.IterCount, 5U);
    EXPECT_EQ(TextOf(info.EncrParams), "1.2");
    EXPECT_EQ(ToHex(info.Hparams), "AA");
}

TEST(PBKDF2AdditionalInfo, NullIsTakenAndLeavesTheFieldsClearedButForHparams) {
    PBKDF2AdditionalInfo info;
    info.Synchr = FromHex("AA");
    info.Hparams = FromHex("BB");
    EXPECT_TRUE(ReadHex(info, "05 00"));
    EXPECT_TRUE(info.Synchr.IsEmpty());
    EXPECT_EQ(info.IterCount, 0U);
    EXPECT_TRUE(info.EncrParams.GetOctets().IsEmpty());
    EXPECT_EQ(ToHex(info.Hparams), "BB");
}

TEST(PBKDF2AdditionalInfo, PrfWithoutParametersFails) {
    PBKDF2AdditionalInfo info;
    EXPECT_EQ(ReadFailure<BadAsnContent>(info, "30 0A 04 00 02 01 05 30 03 06 01 2A", "Path"),
              " Bad ASN object content. Unexpacted end of ASN object. Context: \"Path\". Object: "
              "offset - 7; identifier - \"Sequence\". ");
}

TEST(PBKDF2AdditionalInfo, IterationCountOfMoreThanFourOctetsFails) {
    PBKDF2AdditionalInfo info;
    EXPECT_EQ(
        ReadFailure<BadAsnData>(info, "30 10 04 00 02 05 01 00 00 00 00 30 05 06 01 2A 05 00"),
        "[ASN Integer reading] The content length is too long.Object: offset - 4; identifier - "
        "\"Integer\". ");
}

TEST(PBKDF2AdditionalInfo, PassesTheGivenContextOnEvenIfItIsEmpty) {
    PBKDF2AdditionalInfo info;
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(info, "30 04 04 00 05 00"),
              " Unexpactid ASN identifier: current is \"Null\", but expacted \"Integer\". Context: "
              "\".IterCount\". Object: offset - 4; identifier - \"Null\". ");
    EXPECT_EQ(
        ReadFailure<UnexpactedAsnIdentifier>(info, "30 0C 04 00 02 01 05 30 05 06 01 2A 02 00"),
        " Unexpactid ASN identifier: current is \"Integer\", but expacted \"OctetString\". "
        "Context: \".Hparams\". Object: offset - 12; identifier - \"Integer\". ");
}

TEST(PBKDF2AdditionalInfo, ElementsBehindTheLastMemberAreIgnoredAtBothLevels) {
    PBKDF2AdditionalInfo info;
    EXPECT_TRUE(ReadHex(info, "30 10 04 00 02 01 05 30 07 06 01 2A 05 00 02 00 05 00"));
    EXPECT_EQ(info.IterCount, 5U);
}

TEST(PBKDF2AdditionalInfo, TagOfNullInLongFormIsNotNull) {
    PBKDF2AdditionalInfo info;
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(info, "1F 05 00"),
              " Unexpactid ASN identifier: current is \"31\", but expacted \"Sequence\". Object: "
              "offset - 0; identifier - \"31\". ");
}

TEST(PBKDF2AdditionalInfo, AWrongIdentifierShowsThePath) {
    PBKDF2AdditionalInfo object;
    EXPECT_THAT(ReadFailure<UnexpactedAsnIdentifier>(object, "30 02 05 00"),
                testing::HasSubstr("Context: \".Synchr\"."));
    EXPECT_THAT(ReadFailure<UnexpactedAsnIdentifier>(object, "30 09 04 00 02 01 01 30 02 05 00"),
                testing::HasSubstr("Context: \".EncrParams\"."));
}

}  // namespace
}  // namespace pkisdk::asn
