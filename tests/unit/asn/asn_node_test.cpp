#include "asn/asn_node.h"

#include <gtest/gtest.h>

#include "asn/asn_cursor.h"
#include "asn/asn_node_bag.h"
#include "foundation/asn_exceptions.h"
#include "support/octets.h"
#include "support/output_trees.h"

namespace pkisdk::asn {
namespace {

using support::Encoded;
using support::FromHex;
using support::MessageOf;
using support::OctetString;
using support::SequenceOf;
using support::ToHex;

// One node stands many times in the tree, so that the tree is large and the memory is not.
AsnNodeContainerHandle Repeated(const AsnNodeHandle& child, int count) {
    const auto node = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    for (int i = 0; i < count; ++i) {
        node->AddChild(child);
    }
    return node;
}

TEST(AsnNode, PlainNodeHasNoContent) {
    EXPECT_EQ(Encoded(*MakeAsn<AsnNode>(AsnIdentifier(0x9F, 128))), "9F 81 00 00");
}

TEST(AsnNode, NullNodeIs0500) {
    EXPECT_EQ(Encoded(*MakeAsn<NullAsnNode>()), "05 00");
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
