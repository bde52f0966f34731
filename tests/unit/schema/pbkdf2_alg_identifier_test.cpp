#include "schema/pbkdf2_alg_identifier.h"

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

TEST(PBKDF2AlgIdentifier, DefaultIsPbkdf2) {
    const PBKDF2AlgIdentifier derivation;
    EXPECT_EQ(TextOf(derivation.oid), "1.2.840.113549.1.5.12");
    EXPECT_EQ(WrittenHex(derivation), support::kDefaultPbkdf2AlgIdentifier);
}

TEST(PBKDF2AlgIdentifier, ReadingLeavesHparamsAlone) {
    PBKDF2AlgIdentifier derivation;
    derivation.additionalInfo.Hparams = FromHex("BB");
    derivation.additionalInfo.Synchr = FromHex("AA");
    EXPECT_TRUE(ReadHex(derivation, support::kDefaultPbkdf2AlgIdentifier));
    EXPECT_EQ(ToHex(derivation.additionalInfo.Hparams), "BB");
    EXPECT_TRUE(derivation.additionalInfo.Synchr.IsEmpty());
    EXPECT_EQ(derivation.additionalInfo.IterCount, 2000U);
}

TEST(PBKDF2AlgIdentifier, FailureLeavesWhatWasReadAndTheRestCleared) {
    PBKDF2AlgIdentifier derivation;
    derivation.additionalInfo.Hparams = FromHex("BB");
    EXPECT_EQ(ReadFailure<BadAsnContent>(derivation, "30 03 06 01 2A"),
              " Bad ASN object content. Unexpacted end of ASN object. Context: "
              "\"PBKDF2AlgIdentifier::\". Object: offset - 0; identifier - \"Sequence\". ");
    EXPECT_EQ(TextOf(derivation.oid), "1.2");
    EXPECT_EQ(derivation.additionalInfo.IterCount, 0U);
    EXPECT_TRUE(derivation.additionalInfo.EncrParams.GetOctets().IsEmpty());
    EXPECT_EQ(ToHex(derivation.additionalInfo.Hparams), "BB");
}

TEST(PBKDF2AlgIdentifier, UnknownOidIsReadAsItStands) {
    PBKDF2AlgIdentifier derivation;
    EXPECT_TRUE(ReadHex(derivation, "30 12 06 02 55 04 30 0C 04 00 02 01 05 30 05 06 01 2A 05 00"));
    EXPECT_EQ(TextOf(derivation.oid), "2.5.4");
    EXPECT_EQ(derivation.additionalInfo.IterCount, 5U);
}

TEST(PBKDF2AlgIdentifier, ElementsBehindTheLastMemberAreIgnored) {
    PBKDF2AlgIdentifier derivation;
    EXPECT_TRUE(
        ReadHex(derivation, "30 13 06 01 2A 30 0C 04 00 02 01 05 30 05 06 01 2A 05 00 05 00"));
    EXPECT_EQ(WrittenHex(derivation), "30 11 06 01 2A 30 0C 04 00 02 01 05 30 05 06 01 2A 05 00");
}

}  // namespace
}  // namespace pkisdk::asn
