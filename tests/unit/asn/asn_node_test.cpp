#include "asn/asn_node.h"

#include <gtest/gtest.h>

#include <string>

#include "asn/asn_binary_node.h"
#include "asn/asn_cursor.h"
#include "asn/asn_node_bag.h"
#include "asn/asn_node_container.h"
#include "foundation/asn_exceptions.h"
#include "support/octets.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::MessageOf;
using support::ToHex;

std::string Encoded(const AsnNode& node) {
    Blob blob;
    node.Serialize(&blob);
    EXPECT_EQ(node.GetEncodedSize(), blob.GetSize());
    return ToHex(blob);
}

AsnHandle<AsnBinaryNode> OctetString(std::uint64_t size) {
    auto node = MakeAsn<AsnBinaryNode>(kOctetStringIdentifier);
    node->content.SetSize(size);
    return node;
}

AsnNodeContainerHandle SequenceOf(const AsnNodeHandle& child) {
    auto node = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    node->AddChild(child);
    return node;
}

TEST(AsnNode, ContainerWithoutChildrenIsItsIdentifierAndZero) {
    EXPECT_EQ(Encoded(*MakeAsn<AsnNodeContainer>(kSequenceIdentifier)), "30 00");
}

TEST(AsnNode, BinaryNodeWithoutContentIsItsIdentifierAndZero) {
    EXPECT_EQ(Encoded(*MakeAsn<AsnBinaryNode>(kOctetStringIdentifier)), "04 00");
}

TEST(AsnNode, PlainNodeHasNoContent) {
    EXPECT_EQ(Encoded(*MakeAsn<AsnNode>(AsnIdentifier(0x9F, 128))), "9F 81 00 00");
}

TEST(AsnNode, NullNodeIs0500) {
    EXPECT_EQ(Encoded(*MakeAsn<NullAsnNode>()), "05 00");
}

TEST(AsnNode, BinaryNodeWritesItsContent) {
    const auto node = MakeAsn<AsnBinaryNode>(PrimitiveContextIdentifier(31));
    node->content = FromHex("AA BB");
    EXPECT_EQ(Encoded(*node), "9F 1F 02 AA BB");
}

TEST(AsnNode, CopyOfAnObjectHasItsIdentifierAndContent) {
    const Blob blob = FromHex("30 05 02 01 05 05 00 AA");
    EXPECT_EQ(Encoded(*MakeAsn<AsnBinaryNode>(AsnObjectReadable::FromBlob(blob))),
              "30 05 02 01 05 05 00");
}

TEST(AsnNode, CopyOfAnIndefiniteObjectWrites80TheContentAsOneRunAnd0000) {
    const Blob blob = FromHex("30 80 02 01 05 30 80 05 00 00 00 00 00 AA");
    const auto node = MakeAsn<AsnBinaryNode>(AsnObjectReadable::FromBlob(blob));
    EXPECT_TRUE(node->IsIndefinite());
    EXPECT_EQ(ToHex(node->content), "02 01 05 30 80 05 00 00 00");
    EXPECT_EQ(Encoded(*node), "30 80 02 01 05 30 80 05 00 00 00 00 00");
    const Blob empty = FromHex("30 80 00 00");
    EXPECT_EQ(Encoded(*MakeAsn<AsnBinaryNode>(AsnObjectReadable::FromBlob(empty))), "30 80 00 00");
}

TEST(AsnNode, ContainerOf128OctetsTakesTheLongForm) {
    EXPECT_EQ(Encoded(*SequenceOf(OctetString(126))).substr(0, 8), "30 81 80");
    EXPECT_EQ(Encoded(*SequenceOf(OctetString(125))).substr(0, 5), "30 7F");
}

TEST(AsnNode, ChildrenAreWrittenInTheOrderOfAdding) {
    const auto node = MakeAsn<AsnNodeContainer>(kSetIdentifier);
    node->AddChild(OctetString(1));
    node->AddChild(SequenceOf(MakeAsn<NullAsnNode>()));
    node->AddChild(MakeAsn<NullAsnNode>());
    EXPECT_EQ(Encoded(*node), "31 09 04 01 00 30 02 05 00 05 00");
}

TEST(AsnNode, AddingAChildAfterAskingForTheSizeGivesTheNewSize) {
    const auto inner = SequenceOf(MakeAsn<NullAsnNode>());
    const auto outer = SequenceOf(inner);
    EXPECT_EQ(outer->CalculateContentSize(), 4U);
    inner->AddChild(OctetString(3));
    EXPECT_EQ(inner->CalculateContentSize(), 7U);
    EXPECT_EQ(outer->CalculateContentSize(), 9U);
    EXPECT_EQ(Encoded(*outer), "30 09 30 07 05 00 04 03 00 00 00");
}

TEST(AsnNode, AddingToAChildOfUnknownSizeDoesNotWalkUpward) {
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

TEST(AsnNode, EmptyHandleIsNoChild) {
    const auto node = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    node->AddChild({});
    EXPECT_EQ(Encoded(*node), "30 00");
}

TEST(AsnNode, ContainerIsTheParentOfItsChildrenWhileItLives) {
    const AsnNodeHandle child = MakeAsn<NullAsnNode>();
    EXPECT_EQ(child->GetParent(), nullptr);
    auto node = SequenceOf(child);
    EXPECT_EQ(child->GetParent(), node.get());
    node.reset();
    EXPECT_EQ(child->GetParent(), nullptr);
}

TEST(AsnNode, ContainerOfAPrimitiveIdentifierFails) {
    EXPECT_EQ(MessageOf<AsnException>([] { MakeAsn<AsnNodeContainer>(kBitStringIdentifier); }),
              "[AsnNodeContainer::AsnNodeContainer] The class supports only constructed ASN "
              "objects.");
}

TEST(AsnNode, BagIsATagAroundItsChild) {
    EXPECT_EQ(Encoded(AsnNodeBag(ConstructedContextIdentifier(0), MakeAsn<NullAsnNode>())),
              "A0 02 05 00");
}

TEST(AsnNode, BagOfABitStringCountsUnusedBits) {
    const AsnNodeBag bag(kBitStringIdentifier, MakeAsn<NullAsnNode>());
    EXPECT_EQ(bag.CalculateContentSize(), 3U);
    EXPECT_EQ(Encoded(bag), "03 03 00 05 00");
}

TEST(AsnNode, BagWithoutAChildIsEmpty) {
    EXPECT_EQ(Encoded(AsnNodeBag(ConstructedContextIdentifier(0), {})), "A0 00");
    EXPECT_EQ(AsnNodeBag(kBitStringIdentifier, {}).CalculateContentSize(), 1U);
}

TEST(AsnNode, BagComputesItsSizeEachTime) {
    const auto inner = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    const AsnNodeBag bag(ConstructedContextIdentifier(0), inner);
    EXPECT_EQ(bag.CalculateContentSize(), 2U);
    inner->AddChild(MakeAsn<NullAsnNode>());
    EXPECT_EQ(bag.CalculateContentSize(), 4U);
}

TEST(AsnNode, SerializeReplacesSizeAndContentOfTheBlob) {
    Blob blob = FromHex("AA BB CC DD EE FF");
    SequenceOf(MakeAsn<NullAsnNode>())->Serialize(&blob);
    EXPECT_EQ(ToHex(blob), "30 02 05 00");
    blob = FromHex("AA");
    SequenceOf(MakeAsn<NullAsnNode>())->Serialize(&blob);
    EXPECT_EQ(ToHex(blob), "30 02 05 00");
}

TEST(AsnNode, SerializingAgainGivesTheSameOctets) {
    const auto node = SequenceOf(OctetString(2));
    EXPECT_EQ(Encoded(*node), Encoded(*node));
}

TEST(AsnNode, ContentIsWrittenAtTheCursor) {
    Blob blob(6);
    BlobCursor cursor{&blob, 1};
    SequenceOf(OctetString(1))->SerializeContent(cursor);
    EXPECT_EQ(cursor.position, 4);
    EXPECT_EQ(ToHex(blob), "00 04 01 00 00 00");
}

TEST(AsnNode, EmptyContentNeedsNoRoom) {
    Blob blob(1);
    BlobCursor cursor{&blob, 1};
    EXPECT_NO_THROW(MakeAsn<AsnBinaryNode>(kOctetStringIdentifier)->SerializeContent(cursor));
}

TEST(AsnNode, NoRoomForTheContentOfABinaryNodeFails) {
    Blob blob(3);
    BlobCursor cursor = CursorOver(blob);
    EXPECT_EQ(
        MessageOf<NotEnoughMemoryForAsnBlob>([&] { OctetString(4)->SerializeContent(cursor); }),
        "[asn::AsnBinaryNode::SerializeContent] Not enough memory for ASN blob.");
    EXPECT_EQ(ToHex(blob), "00 00 00");
}

TEST(AsnNode, NoRoomForTheCountOfUnusedBitsFails) {
    Blob blob(3);
    BlobCursor cursor{&blob, 3};
    const AsnNodeBag bag(kBitStringIdentifier, MakeAsn<NullAsnNode>());
    EXPECT_EQ(MessageOf<NotEnoughMemoryForAsnBlob>([&] { bag.SerializeContent(cursor); }),
              "[AsnNodeBag::SerializeContent] Not enough memory for ASN blob.");
}

TEST(AsnNode, EndOfContentsIsTwoZeroOctets) {
    Blob blob = FromHex("AA BB CC");
    BlobCursor cursor{&blob, 1};
    WriteContextEnd(cursor);
    EXPECT_EQ(ToHex(blob), "AA 00 00");
    EXPECT_EQ(cursor.position, 3);
}

TEST(AsnNode, NoRoomForEndOfContentsFails) {
    const char* const message = "[AsnNode::WriteContextEnd] Not enough memory for ASN blob.";
    Blob blob(3);
    BlobCursor cursor{&blob, 2};
    EXPECT_EQ(MessageOf<NotEnoughMemoryForAsnBlob>([&] { WriteContextEnd(cursor); }), message);
    cursor.position = -1;
    EXPECT_EQ(MessageOf<NotEnoughMemoryForAsnBlob>([&] { WriteContextEnd(cursor); }), message);
}

TEST(AsnNode, FailuresCarryTheirCode) {
    try {
        Blob blob(1);
        BlobCursor cursor{&blob, 1};
        WriteContextEnd(cursor);
        FAIL();
    } catch (const NotEnoughMemoryForAsnBlob& e) {
        EXPECT_EQ(e.code, 0x0A000002U);
    }
}

// One node stands many times in the tree, so that the tree is large and the memory is not.
AsnNodeContainerHandle Repeated(const AsnNodeHandle& child, int count) {
    const auto node = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    for (int i = 0; i < count; ++i) {
        node->AddChild(child);
    }
    return node;
}

TEST(AsnNode, SizesUpTo2To32AreExactAndStopThere) {
    const auto mebibyte = OctetString((1U << 20) - 5);
    ASSERT_EQ(mebibyte->GetEncodedSize(), 1U << 20);
    const auto gibibyte = Repeated(mebibyte, 1024);
    EXPECT_EQ(gibibyte->CalculateContentSize(), 1U << 30);
    EXPECT_EQ(gibibyte->GetEncodedSize(), (1U << 30) + 6);
    EXPECT_EQ(Repeated(gibibyte, 3)->CalculateContentSize(), 3 * ((1U << 30) + 6));
    EXPECT_EQ(Repeated(gibibyte, 4)->CalculateContentSize(), 0xFFFFFFFEU);
    EXPECT_EQ(Repeated(gibibyte, 5)->GetEncodedSize(), 0xFFFFFFFEU);
    EXPECT_EQ(AsnNodeBag(ConstructedContextIdentifier(0), Repeated(gibibyte, 5)).GetEncodedSize(),
              0xFFFFFFFEU);
}

TEST(AsnNode, TreeOf2To31OctetsAndMoreIsRefusedBeforeItIsAllocated) {
    const auto mebibyte = OctetString((1U << 20) - 5);
    const char* const message = "[AsnIdentifier::Serialize] Not enough memory for ASN blob.";
    for (const int count : {2048, 4096, 5000}) {
        Blob blob = FromHex("AA");
        EXPECT_EQ(MessageOf<NotEnoughMemoryForAsnBlob>(
                      [&] { Repeated(mebibyte, count)->Serialize(&blob); }),
                  message);
        EXPECT_EQ(ToHex(blob), "AA");
    }
}

}  // namespace
}  // namespace pkisdk::asn
