#include "schema/pbes2_alg_identifier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

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

TEST(PBES2AlgIdentifier, DefaultIsPbes2OverTheOtherDefaults) {
    const PBES2AlgIdentifier scheme;
    EXPECT_EQ(TextOf(scheme.oid), "1.2.840.113549.1.5.13");
    EXPECT_EQ(WrittenHex(scheme), support::kDefaultPbes2AlgIdentifier);
}

TEST(PBES2AlgIdentifier, ReadingClearsEveryFieldFirstButForHparams) {
    PBES2AlgIdentifier scheme;
    scheme.KezDeriv.additionalInfo.Synchr = FromHex("AA");
    scheme.KezDeriv.additionalInfo.Hparams = FromHex("BB");
    scheme.EncrScheme.additionalInfo.Synchr = FromHex("CC");
    EXPECT_EQ(ReadFailure<BadAsnContent>(scheme, "30 00"),
              " Bad ASN object content. Unexpacted end of ASN object. Context: "
              "\"PBES2AlgIdentifier::\". Object: offset - 0; identifier - \"Sequence\". ");
    EXPECT_TRUE(scheme.oid.GetOctets().IsEmpty());
    EXPECT_TRUE(scheme.KezDeriv.oid.GetOctets().IsEmpty());
    EXPECT_TRUE(scheme.KezDeriv.additionalInfo.Synchr.IsEmpty());
    EXPECT_TRUE(scheme.KezDeriv.additionalInfo.EncrParams.GetOctets().IsEmpty());
    EXPECT_EQ(scheme.KezDeriv.additionalInfo.IterCount, 0U);
    EXPECT_EQ(ToHex(scheme.KezDeriv.additionalInfo.Hparams), "BB");
    EXPECT_TRUE(scheme.EncrScheme.oid.GetOctets().IsEmpty());
    EXPECT_TRUE(scheme.EncrScheme.additionalInfo.Synchr.IsEmpty());
    EXPECT_TRUE(scheme.EncrScheme.additionalInfo.EncrParams.GetOctets().IsEmpty());
}

TEST(PBES2AlgIdentifier, ReadsItsDefaultEncoding) {
    PBES2AlgIdentifier scheme;
    scheme.oid = {};
    EXPECT_TRUE(ReadHex(scheme, support::kDefaultPbes2AlgIdentifier));
    EXPECT_EQ(WrittenHex(scheme), support::kDefaultPbes2AlgIdentifier);
}

TEST(PBES2AlgIdentifier, ParametersWithoutAnEncryptionSchemeFail) {
    PBES2AlgIdentifier scheme;
    const std::string data =
        "30 2E 06 09 2A 86 48 86 F7 0D 01 05 0D 30 21 " + support::kDefaultPbkdf2AlgIdentifier;
    EXPECT_EQ(ReadFailure<BadAsnContent>(scheme, data),
              " Bad ASN object content. Unexpacted end of ASN object. Context: "
              "\"PBES2AlgIdentifier::\". Object: offset - 13; identifier - \"Sequence\". ");
    EXPECT_EQ(scheme.KezDeriv.additionalInfo.IterCount, 2000U);
}

TEST(PBES2AlgIdentifier, ThirdElementInTheParametersReadsWithoutComplaint) {
    PBES2AlgIdentifier scheme;
    const std::string data = "30 47 06 09 2A 86 48 86 F7 0D 01 05 0D 30 3A " +
                             support::kDefaultPbkdf2AlgIdentifier + " " +
                             support::kDefaultEncrAlgIdentifier + " 05 00";
    EXPECT_TRUE(ReadHex(scheme, data));
    EXPECT_EQ(WrittenHex(scheme), support::kDefaultPbes2AlgIdentifier);
}

TEST(PBES2AlgIdentifier, WrongIdentifierShowsThePath) {
    PBES2AlgIdentifier scheme;
    EXPECT_EQ(
        ReadFailure<UnexpactedAsnIdentifier>(scheme, "30 09 06 01 2A 30 04 30 02 05 00"),
        " Unexpactid ASN identifier: current is \"Null\", but expacted \"ObjectId\". Context: "
        "\"PBES2AlgIdentifier::.KezDeriv.oid\". Object: offset - 9; identifier - \"Null\". ");
}

TEST(PBES2AlgIdentifier, UnknownOidIsReadAsItStands) {
    PBES2AlgIdentifier scheme;
    EXPECT_TRUE(ReadHex(scheme, "30 3E 06 02 55 04 30 38 " + support::kDefaultPbkdf2AlgIdentifier +
                                    " " + support::kDefaultEncrAlgIdentifier));
    EXPECT_EQ(TextOf(scheme.oid), "2.5.4");
    EXPECT_EQ(scheme.KezDeriv.additionalInfo.IterCount, 2000U);
    EXPECT_EQ(TextOf(scheme.EncrScheme.oid), "1.2.643.2.2.21");
}

TEST(PBES2AlgIdentifier, ElementsBehindItsParametersAreIgnored) {
    PBES2AlgIdentifier scheme;
    EXPECT_TRUE(ReadHex(scheme, "30 47 06 09 2A 86 48 86 F7 0D 01 05 0D 30 38 " +
                                    support::kDefaultPbkdf2AlgIdentifier + " " +
                                    support::kDefaultEncrAlgIdentifier + " 05 00"));
    EXPECT_EQ(WrittenHex(scheme), support::kDefaultPbes2AlgIdentifier);
}

TEST(PBES2AlgIdentifier, AWrongIdentifierShowsThePath) {
    PBES2AlgIdentifier object;
    EXPECT_THAT(ReadFailure<UnexpactedAsnIdentifier>(object, "30 02 05 00"),
                testing::HasSubstr("Context: \"PBES2AlgIdentifier::.oid\"."));
    EXPECT_THAT(ReadFailure<UnexpactedAsnIdentifier>(
                    object, "30 27 06 00 30 23 " + support::kDefaultPbkdf2AlgIdentifier + " 05 00"),
                testing::HasSubstr("Context: \"PBES2AlgIdentifier::.EncrScheme\"."));
}

}  // namespace
}  // namespace pkisdk::asn
