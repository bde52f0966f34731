#include <gtest/gtest.h>

#include <string>

#include "foundation/asn_exceptions.h"
#include "schema/pbes2_alg_identifier.h"
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

TEST(EncrAlgIdentifier, DefaultIsGost28147) {
    const EncrAlgIdentifier scheme;
    EXPECT_EQ(TextOf(scheme.oid), "1.2.643.2.2.21");
    EXPECT_EQ(WrittenHex(scheme), support::kDefaultEncrAlgIdentifier);
}

TEST(EncrAlgIdentifier, UnknownOidIsReadAsItStands) {
    EncrAlgIdentifier scheme;
    EXPECT_TRUE(ReadHex(scheme, "30 0B 06 02 55 04 30 05 04 00 06 01 2A"));
    EXPECT_EQ(TextOf(scheme.oid), "2.5.4");
    EXPECT_EQ(TextOf(scheme.additionalInfo.EncrParams), "1.2");
}

TEST(EncrAlgIdentifier, NullParametersAreTakenAndLeaveTheFieldsCleared) {
    EncrAlgIdentifier scheme;
    scheme.additionalInfo.Synchr = FromHex("AA");
    EXPECT_TRUE(ReadHex(scheme, "30 05 06 01 2A 05 00"));
    EXPECT_TRUE(scheme.additionalInfo.Synchr.IsEmpty());
    EXPECT_TRUE(scheme.additionalInfo.EncrParams.GetOctets().IsEmpty());
}

TEST(EncrAlgIdentifier, AbsentParametersFail) {
    EncrAlgIdentifier scheme;
    EXPECT_EQ(ReadFailure<BadAsnContent>(scheme, "30 03 06 01 2A"),
              " Bad ASN object content. Unexpacted end of ASN object. Context: "
              "\"EncrAlgIdentifier::\". Object: offset - 0; identifier - \"Sequence\". ");
    EXPECT_EQ(TextOf(scheme.oid), "1.2");
    EXPECT_TRUE(scheme.additionalInfo.EncrParams.GetOctets().IsEmpty());
}

TEST(EncrAlgIdentifier, GivenContextReplacesItsOwn) {
    EncrAlgIdentifier scheme;
    EXPECT_EQ(
        ReadFailure<UnexpactedAsnIdentifier>(scheme, "30 02 05 00"),
        " Unexpactid ASN identifier: current is \"Null\", but expacted \"ObjectId\". Context: "
        "\"EncrAlgIdentifier::.oid\". Object: offset - 2; identifier - \"Null\". ");
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(scheme, "30 05 06 01 2A 31 00", "Path"),
              " Unexpactid ASN identifier: current is \"Set\", but expacted \"Sequence\". Context: "
              "\"Path.additionalInfo\". Object: offset - 5; identifier - \"Set\". ");
}

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

}  // namespace
}  // namespace pkisdk::asn
