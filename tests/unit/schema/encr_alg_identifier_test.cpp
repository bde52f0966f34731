#include "schema/encr_alg_identifier.h"

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

TEST(EncrAlgIdentifier, ElementsBehindTheLastMemberAreIgnored) {
    EncrAlgIdentifier scheme;
    EXPECT_TRUE(ReadHex(scheme, "30 0C 06 01 2A 30 05 04 00 06 01 2A 05 00"));
    EXPECT_EQ(WrittenHex(scheme), "30 0A 06 01 2A 30 05 04 00 06 01 2A");
}

}  // namespace
}  // namespace pkisdk::asn
