#include "asn/nullable.h"

#include <gtest/gtest.h>

#include "asn/primitive_serializable.h"
#include "foundation/asn_exceptions.h"
#include "support/asn_values.h"
#include "support/octets.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::ReadFailure;
using support::ReadHex;
using support::ToHex;
using support::WrittenHex;

using NullableBlob = Nullable<OctetStringMember>;
using ReadableNullableBlob = Nullable<readable::OctetStringMember>;

TEST(Nullable, EmptyBlobWritesNull) {
    Blob blob;
    NullableBlob member({".value", &blob}, {&blob, &Blob::IsEmpty});
    EXPECT_EQ(WrittenHex(member), "05 00");
    const auto parent = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    member.SerializeToAsnNode(parent);
    EXPECT_EQ(parent->CalculateContentSize(), 2U);
}

TEST(Nullable, NullReadBackLeavesTheBlobAsItWas) {
    Blob blob = FromHex("AA");
    NullableBlob member({".value", &blob}, {&blob, &Blob::IsEmpty});
    EXPECT_TRUE(ReadHex(member, "05 00"));
    EXPECT_EQ(ToHex(blob), "AA");
}

TEST(Nullable, ValueIsWrittenAndReadAsItsMemberDoes) {
    Blob blob = FromHex("AA");
    NullableBlob member({".value", &blob}, {&blob, &Blob::IsEmpty});
    EXPECT_EQ(WrittenHex(member), "04 01 AA");
    EXPECT_TRUE(ReadHex(member, "04 01 BB"));
    EXPECT_EQ(ToHex(blob), "BB");
    EXPECT_FALSE(member.IsOptional());
}

TEST(Nullable, AnythingElseFailsInTheMember) {
    Blob blob;
    NullableBlob member({".value", &blob}, {&blob, &Blob::IsEmpty});
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(member, "02 01 05", "Path"),
              " Unexpactid ASN identifier: current is \"Integer\", but expacted \"OctetString\". "
              "Context: \"Path.value\". Object: offset - 0; identifier - \"Integer\". ");
}

TEST(Nullable, ReadsAsFarAsItsMemberCan) {
    const Blob blob = FromHex("AA");
    ReadableNullableBlob member({"", &blob}, {&blob, &Blob::IsEmpty});
    EXPECT_EQ(WrittenHex(member), "04 01 AA");
    EXPECT_TRUE(ReadHex(member, "05 00"));
    EXPECT_EQ(ReadFailure<AsnException>(member, "04 01 AA"),
              "[asn::readable::PrimitiveSerializable::Deserialize] Method is not implemented.");
}

}  // namespace
}  // namespace pkisdk::asn
