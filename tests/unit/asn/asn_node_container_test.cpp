#include "asn/asn_node_container.h"

#include <gtest/gtest.h>

#include "foundation/asn_exceptions.h"
#include "support/octets.h"
#include "support/output_trees.h"

namespace pkisdk::asn {
namespace {

using support::Encoded;
using support::MessageOf;
using support::OctetString;
using support::SequenceOf;
using support::ToHex;

TEST(AsnNodeContainer, ContainerWithoutChildrenIsItsIdentifierAndZero) {
    EXPECT_EQ(Encoded(*MakeAsn<AsnNodeContainer>(kSequenceIdentifier)), "30 00");
}

TEST(AsnNodeContainer, ContainerOf128OctetsTakesTheLongForm) {
    EXPECT_EQ(Encoded(*SequenceOf(OctetString(126))).substr(0, 8), "30 81 80");
    EXPECT_EQ(Encoded(*SequenceOf(OctetString(125))).substr(0, 5), "30 7F");
}

TEST(AsnNodeContainer, ChildrenAreWrittenInTheOrderOfAdding) {
    const auto node = MakeAsn<AsnNodeContainer>(kSetIdentifier);
    node->AddChild(OctetString(1));
    node->AddChild(SequenceOf(MakeAsn<NullAsnNode>()));
    node->AddChild(MakeAsn<NullAsnNode>());
    EXPECT_EQ(Encoded(*node), "31 09 04 01 00 30 02 05 00 05 00");
}

TEST(AsnNodeContainer, AddingAChildAfterAskingForTheSizeGivesTheNewSize) {
    const auto inner = SequenceOf(MakeAsn<NullAsnNode>());
    const auto outer = SequenceOf(inner);
    EXPECT_EQ(outer->CalculateContentSize(), 4U);
    inner->AddChild(OctetString(3));
    EXPECT_EQ(inner->CalculateContentSize(), 7U);
    EXPECT_EQ(outer->CalculateContentSize(), 9U);
    EXPECT_EQ(Encoded(*outer), "30 09 30 07 05 00 04 03 00 00 00");
}

TEST(AsnNodeContainer, AddingToAChildOfUnknownSizeDoesNotWalkUpward) {
    // A container without children never knows its size.
    const auto inner = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    const auto outer = SequenceOf(inner);
    EXPECT_EQ(outer->CalculateContentSize(), 2U);
    inner->AddChild(MakeAsn<NullAsnNode>());
    EXPECT_EQ(inner->CalculateContentSize(), 2U);
    EXPECT_EQ(outer->CalculateContentSize(), 2U);
    Blob blob;
    EXPECT_EQ(MessageOf<NotEnoughMemoryForAsnBlob>([&] { outer->Serialize(&blob); }),
              "[AsnIdentifier::Serialize] Not enough memory for ASN blob.");
    EXPECT_EQ(blob.GetSize(), 4U);
}

TEST(AsnNodeContainer, EmptyHandleIsNoChild) {
    const auto node = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    node->AddChild({});
    EXPECT_EQ(Encoded(*node), "30 00");
}

TEST(AsnNodeContainer, ContainerIsTheParentOfItsChildrenWhileItLives) {
    const AsnNodeHandle child = MakeAsn<NullAsnNode>();
    EXPECT_EQ(child->GetParent(), nullptr);
    auto node = SequenceOf(child);
    EXPECT_EQ(child->GetParent(), node.get());
    node.reset();
    EXPECT_EQ(child->GetParent(), nullptr);
}

TEST(AsnNodeContainer, ContainerOfAPrimitiveIdentifierFails) {
    EXPECT_EQ(MessageOf<AsnException>([] { MakeAsn<AsnNodeContainer>(kBitStringIdentifier); }),
              "[AsnNodeContainer::AsnNodeContainer] The class supports only constructed ASN "
              "objects.");
    EXPECT_THROW(MakeAsn<AsnNodeContainer>(PrimitiveContextIdentifier(0)), AsnException);
}

TEST(AsnNodeContainer, ChildOfTwoKeepsTheOneThatItWasAddedToLast) {
    const AsnNodeHandle child = MakeAsn<NullAsnNode>();
    auto first = SequenceOf(child);
    const auto second = SequenceOf(child);
    EXPECT_EQ(child->GetParent(), second.get());
    first.reset();
    EXPECT_EQ(child->GetParent(), second.get());
}

TEST(AsnNodeContainer, NodeThatIsAttachedIsAddedOnceAndAnswered) {
    const auto parent = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    const AsnNodeHandle child = MakeAsn<NullAsnNode>();
    EXPECT_EQ(AttachTo(parent, child), child);
    EXPECT_EQ(Encoded(*parent), "30 02 05 00");
    EXPECT_EQ(AttachTo({}, child), child);
}

TEST(AsnNodeContainer, ContentIsWrittenAtTheCursor) {
    Blob blob(6);
    BlobCursor cursor{&blob, 1};
    SequenceOf(OctetString(1))->SerializeContent(cursor);
    EXPECT_EQ(cursor.position, 4);
    EXPECT_EQ(ToHex(blob), "00 04 01 00 00 00");
}

}  // namespace
}  // namespace pkisdk::asn
