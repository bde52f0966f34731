#include "asn/sequence.h"

#include <gtest/gtest.h>

#include <string>

#include "asn/implicit.h"
#include "asn/optional.h"
#include "asn/primitive_serializable.h"
#include "asn/serializable_wrapper.h"
#include "support/asn_values.h"
#include "support/octets.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::MessageOf;
using support::ReadFailure;
using support::ReadHex;
using support::ToHex;
using support::WrittenHex;

// SEQUENCE of INTEGER, [0] IMPLICIT and [1] EXPLICIT OCTET STRING, both optional.
struct Fields {
    std::uint32_t number = 7;
    Blob implicit;
    Blob wrapped;
};

class Schema {
  public:
    explicit Schema(Fields* fields)
        : number_(".number", &fields->number),
          implicit_(".implicit", &fields->implicit, 0, &Blob::IsEmpty),
          optional_({".wrapped", &fields->wrapped}, 1, {&fields->wrapped, &Blob::IsEmpty}),
          sequence_(kSequenceIdentifier) {
        sequence_.Add(number_);
        sequence_.Add(implicit_);
        sequence_.Add(optional_);
    }

    Sequence& Root() { return sequence_; }

  private:
    IntegerMember number_;
    Implicit<BinaryContentEncoder, Blob> implicit_;
    Optional<OctetStringMember> optional_;
    Sequence sequence_;
};

TEST(Sequence, WritesItsMembersInOrder) {
    Fields fields{5, FromHex("AA"), FromHex("BB")};
    EXPECT_EQ(WrittenHex(Schema(&fields).Root()), "30 0B 02 01 05 80 01 AA A1 03 04 01 BB");
}

TEST(Sequence, AddsItselfToTheParent) {
    Fields fields;
    const auto parent = MakeAsn<AsnNodeContainer>(kSetIdentifier);
    const AsnNodeHandle node = Schema(&fields).Root().SerializeToAsnNode(parent);
    EXPECT_EQ(node->GetParent(), parent.get());
    Blob blob;
    parent->Serialize(&blob);
    EXPECT_EQ(ToHex(blob), "31 05 30 03 02 01 07");
}

TEST(Sequence, ReadsItsMembersInOrder) {
    Fields fields;
    EXPECT_TRUE(ReadHex(Schema(&fields).Root(), "30 0B 02 01 05 80 01 AA A1 03 04 01 BB"));
    EXPECT_EQ(fields.number, 5U);
    EXPECT_EQ(ToHex(fields.implicit), "AA");
    EXPECT_EQ(ToHex(fields.wrapped), "BB");
}

TEST(Sequence, ReadsIndefiniteObjects) {
    Fields fields;
    EXPECT_TRUE(ReadHex(Schema(&fields).Root(), "30 80 02 01 05 A1 80 04 01 BB 00 00 00 00"));
    EXPECT_EQ(fields.number, 5U);
    EXPECT_EQ(ToHex(fields.wrapped), "BB");
}

TEST(Sequence, MoreChildrenThanMembersReadWithoutComplaint) {
    Fields fields;
    EXPECT_TRUE(ReadHex(Schema(&fields).Root(), "30 08 02 01 05 80 01 AA 05 00"));
    EXPECT_EQ(ToHex(fields.implicit), "AA");
    EXPECT_TRUE(ReadHex(Schema(&fields).Root(), "30 05 02 01 06 05 00"));
    EXPECT_EQ(fields.number, 6U);
}

TEST(Sequence, TooFewChildrenFailOnTheFirstMandatoryMember) {
    Fields fields;
    EXPECT_EQ(ReadFailure<BadAsnContent>(Schema(&fields).Root(), "30 00", "Path"),
              " Bad ASN object content. Unexpacted end of ASN object. Context: \"Path\". Object: "
              "offset - 0; identifier - \"Sequence\". ");
}

TEST(Sequence, TooFewChildrenSucceedIfAllMissingMembersAreOptional) {
    Fields fields;
    EXPECT_TRUE(ReadHex(Schema(&fields).Root(), "30 03 02 01 05"));
    EXPECT_EQ(fields.number, 5U);
    EXPECT_TRUE(fields.implicit.IsEmpty());
    EXPECT_TRUE(fields.wrapped.IsEmpty());
}

TEST(Sequence, ChildThatIsNotTakenGoesToTheNextMember) {
    Fields fields;
    EXPECT_TRUE(ReadHex(Schema(&fields).Root(), "30 08 02 01 05 A1 03 04 01 BB"));
    EXPECT_TRUE(fields.implicit.IsEmpty());
    EXPECT_EQ(ToHex(fields.wrapped), "BB");
}

TEST(Sequence, ConstructedElementWhereAnImplicitOneIsExpectedIsNotTaken) {
    Fields fields;
    EXPECT_TRUE(ReadHex(Schema(&fields).Root(), "30 08 02 01 05 A0 03 04 01 AA"));
    EXPECT_TRUE(fields.implicit.IsEmpty());
}

TEST(Sequence, ElementsWhoseOctetIsZeroAreSkippedBetweenMembers) {
    Fields fields;
    EXPECT_TRUE(ReadHex(Schema(&fields).Root(), "30 0B 02 01 05 00 00 00 01 FF 80 01 AA"));
    EXPECT_EQ(ToHex(fields.implicit), "AA");
}

TEST(Sequence, ElementWhoseOctetIsZeroIsNotSkippedAheadOfTheFirstMember) {
    Fields fields;
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(Schema(&fields).Root(), "30 05 00 00 02 01 05"),
              " Unexpactid ASN identifier: current is \"Eoc\", but expacted \"Integer\". Context: "
              "\".number\". Object: offset - 2; identifier - \"Eoc\". ");
}

TEST(Sequence, AnotherIdentifierFails) {
    Fields fields;
    EXPECT_EQ(
        ReadFailure<UnexpactedAsnIdentifier>(Schema(&fields).Root(), "31 03 02 01 05", "Path"),
        " Unexpactid ASN identifier: current is \"Set\", but expacted \"Sequence\". Context: "
        "\"Path\". Object: offset - 0; identifier - \"Set\". ");
}

TEST(Sequence, WhatWasReadBeforeAFailureStays) {
    Fields fields;
    EXPECT_EQ(ReadFailure<BadAsnContent>(Schema(&fields).Root(), "30 08 02 01 05 80 01 AA A1 00"),
              "[Optional::Deserialize] Bad ASN object content. Optional object can't be empty. "
              "Object: offset - 8; identifier - \"Optional with tag=1\". ");
    EXPECT_EQ(fields.number, 5U);
    EXPECT_EQ(ToHex(fields.implicit), "AA");
}

TEST(Sequence, NestedSequenceAddsNothingToTheContext) {
    std::uint32_t number = 0;
    IntegerMember member(".number", &number);
    Sequence inner(kSequenceIdentifier);
    inner.Add(member);
    Sequence outer(kSequenceIdentifier);
    outer.Add(inner);
    EXPECT_TRUE(ReadHex(outer, "30 05 30 03 02 01 05"));
    EXPECT_EQ(number, 5U);
    EXPECT_EQ(WrittenHex(outer), "30 05 30 03 02 01 05");
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(outer, "30 04 30 02 05 00", "Path"),
              " Unexpactid ASN identifier: current is \"Null\", but expacted \"Integer\". Context: "
              "\"Path.number\". Object: offset - 4; identifier - \"Null\". ");
}

TEST(AsnCollectionSerializer, EmptyParentFails) {
    readable::AsnCollectionSerializer collection;
    EXPECT_EQ(MessageOf<AsnException>([&] { collection.SerializeToAsnNode({}); }),
              "[asn::readable::AsnCollectionSerializer::SerializeToAsnNode] Parent ASN node is "
              "undefined.");
}

TEST(AsnCollectionSerializer, AddsEveryMembersNodeAndAnswersNone) {
    const std::uint32_t number = 5;
    const readable::IntegerMember member("", &number);
    readable::AsnCollectionSerializer collection;
    collection.Add(member);
    collection.Add(member);
    const auto parent = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    EXPECT_EQ(collection.SerializeToAsnNode(parent), nullptr);
    EXPECT_EQ(parent->CalculateContentSize(), 6U);
}

}  // namespace
}  // namespace pkisdk::asn
