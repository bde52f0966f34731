#include "asn/primitive_serializable.h"

#include <gtest/gtest.h>

#include <list>
#include <string>

#include "foundation/asn_exceptions.h"
#include "support/asn_values.h"
#include "support/octets.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::ReadFailure;
using support::ReadHex;
using support::WrittenHex;

TEST(PrimitiveSerializable, WritesAndReadsItsValue) {
    std::uint32_t value = 5;
    IntegerMember member(".number", &value);
    EXPECT_EQ(WrittenHex(member), "02 01 05");
    EXPECT_TRUE(ReadHex(member, "02 02 07 D0"));
    EXPECT_EQ(value, 2000U);
    EXPECT_FALSE(member.IsOptional());
}

TEST(PrimitiveSerializable, EveryInstanceHasItsIdentifier) {
    const Blob blob = FromHex("AA");
    ObjectId oid;
    oid.SetText("2.5.4.3");
    const std::list<Blob> elements = {FromHex("05 00")};
    const std::wstring text = L"A";
    EXPECT_EQ(WrittenHex(readable::OctetStringMember("", &blob)), "04 01 AA");
    EXPECT_EQ(WrittenHex(readable::ObjectIdMember("", &oid)), "06 03 55 04 03");
    EXPECT_EQ(WrittenHex(readable::BlobSetMember("", &elements)), "31 02 05 00");
    EXPECT_EQ(WrittenHex(readable::ByteStringMember("", &text)), "13 01 41");
}

TEST(PrimitiveSerializable, AddsItsNameToTheContext) {
    std::uint32_t value = 7;
    IntegerMember member(".number", &value);
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(member, "04 01 05", "Path"),
              " Unexpactid ASN identifier: current is \"OctetString\", but expacted \"Integer\". "
              "Context: \"Path.number\". Object: offset - 0; identifier - \"OctetString\". ");
    EXPECT_EQ(value, 7U);
}

TEST(PrimitiveSerializable, EnumeratedFailsAtTheIdentifierWhereTheDecoderWouldTakeIt) {
    std::uint32_t value = 0;
    IntegerMember member("", &value);
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(member, "0A 01 02"),
              " Unexpactid ASN identifier: current is \"Enumerated\", but expacted \"Integer\". "
              "Object: offset - 0; identifier - \"Enumerated\". ");
}

TEST(PrimitiveSerializable, AddsItsNodeToTheParent) {
    const auto parent = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    const std::uint32_t value = 5;
    const AsnNodeHandle node = readable::IntegerMember("", &value).SerializeToAsnNode(parent);
    EXPECT_EQ(node->GetParent(), parent.get());
    EXPECT_EQ(parent->CalculateContentSize(), 3U);
}

TEST(PrimitiveSerializable, ReadableTwinFailsAtOnceWhateverTheObject) {
    const Blob blob = FromHex("AA");
    const std::uint32_t number = 0;
    readable::OctetStringMember octets("", &blob);
    EXPECT_EQ(ReadFailure<AsnException>(octets, "04 01 AA"),
              "[asn::readable::PrimitiveSerializable::Deserialize] Method is not implemented.");
    readable::IntegerMember integer("", &number);
    EXPECT_EQ(ReadFailure<AsnException>(integer, "05 00"),
              "[asn::readable::PrimitiveSerializable::Deserialize] Method is not implemented.");
}

}  // namespace
}  // namespace pkisdk::asn
