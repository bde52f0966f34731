#include "schema/attributes_set.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "asn/asn_blob.h"
#include "foundation/asn_exceptions.h"
#include "support/asn_values.h"
#include "support/schema_samples.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::MessageOf;
using support::ReadFailure;
using support::ReadHex;
using support::TextOf;
using support::ToHex;
using support::WrittenHex;

TEST(AttributesSet, WithoutAnOidItWritesOneOfEmptyContent) {
    EXPECT_EQ(WrittenHex(AttributesSet()), "30 04 06 00 31 00");
}

TEST(AttributesSet, WritesAndReadsItsValuesInOrder) {
    AttributesSet attribute;
    attribute.oid.SetText("2.5.4.3");
    attribute.values = {FromHex("30 00"), FromHex("04 01 AA")};
    const std::string data = "30 0C 06 03 55 04 03 31 05 30 00 04 01 AA";
    EXPECT_EQ(WrittenHex(attribute), data);
    AttributesSet read;
    EXPECT_TRUE(ReadHex(read, data));
    EXPECT_EQ(TextOf(read.oid), "2.5.4.3");
    ASSERT_EQ(read.values.size(), 2U);
    EXPECT_EQ(ToHex(read.values.front()), "30 00");
    EXPECT_EQ(ToHex(read.values.back()), "04 01 AA");
}

TEST(AttributesSet, ReadingClearsBothFieldsFirst) {
    AttributesSet attribute;
    attribute.oid.SetText("2.5.4.3");
    attribute.values = {FromHex("05 00")};
    EXPECT_EQ(ReadFailure<BadAsnContent>(attribute, "30 00"),
              " Bad ASN object content. Unexpacted end of ASN object. Context: "
              "\"AttributesSet::\". Object: offset - 0; identifier - \"Sequence\". ");
    EXPECT_TRUE(attribute.oid.GetOctets().IsEmpty());
    EXPECT_TRUE(attribute.values.empty());
}

TEST(AttributesSet, WrongIdentifierShowsThePath) {
    AttributesSet attribute;
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(attribute, "30 05 06 01 2A 30 00"),
              " Unexpactid ASN identifier: current is \"Sequence\", but expacted \"Set\". Context: "
              "\"AttributesSet::.values\". Object: offset - 5; identifier - \"Sequence\". ");
}

TEST(AttributesSet, ValueThatDoesNotParseFailsOnWriting) {
    AttributesSet attribute;
    attribute.values = {FromHex("04")};
    EXPECT_EQ(MessageOf<BadAsnData>([&] { WrittenHex(attribute); }),
              "[AsnObjectHeader parsing] Bad ASN data. Error in position 0.");
}

TEST(AttributesSet, AWrongOidShowsThePathFromTheContextThatIsGiven) {
    AttributesSet attribute;
    EXPECT_THAT(ReadFailure<UnexpactedAsnIdentifier>(attribute, "30 04 05 00 31 00"),
                testing::HasSubstr("Context: \"AttributesSet::.oid\"."));
    EXPECT_THAT(ReadFailure<UnexpactedAsnIdentifier>(attribute, "30 04 05 00 31 00", "outer"),
                testing::HasSubstr("Context: \"outer.oid\"."));
}

TEST(AttributesSet, IsWrittenIntoItsParent) {
    const auto parent = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    AttributesSet().SerializeToAsnNode(parent);
    Blob bytes;
    parent->Serialize(&bytes);
    EXPECT_EQ(ToHex(bytes), "30 06 30 04 06 00 31 00");
}

}  // namespace
}  // namespace pkisdk::asn
