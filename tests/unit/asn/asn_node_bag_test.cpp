#include "asn/asn_node_bag.h"

#include <gtest/gtest.h>

#include "foundation/asn_exceptions.h"
#include "support/octets.h"
#include "support/output_trees.h"

namespace pkisdk::asn {
namespace {

using support::Encoded;
using support::MessageOf;

TEST(AsnNodeBag, BagIsATagAroundItsChild) {
    EXPECT_EQ(Encoded(AsnNodeBag(ConstructedContextIdentifier(0), MakeAsn<NullAsnNode>())),
              "A0 02 05 00");
}

TEST(AsnNodeBag, BagOfABitStringCountsUnusedBits) {
    const AsnNodeBag bag(kBitStringIdentifier, MakeAsn<NullAsnNode>());
    EXPECT_EQ(bag.CalculateContentSize(), 3U);
    EXPECT_EQ(Encoded(bag), "03 03 00 05 00");
}

TEST(AsnNodeBag, BagOfABitStringCountsUnusedBitsWithinOtherNodesToo) {
    EXPECT_EQ(Encoded(*support::SequenceOf(
                  MakeAsn<AsnNodeBag>(kBitStringIdentifier, MakeAsn<NullAsnNode>()))),
              "30 05 03 03 00 05 00");
}

TEST(AsnNodeBag, OnlyABagOfABitStringCountsUnusedBits) {
    EXPECT_EQ(Encoded(AsnNodeBag(kOctetStringIdentifier, MakeAsn<NullAsnNode>())), "04 02 05 00");
    EXPECT_EQ(Encoded(AsnNodeBag(ConstructedContextIdentifier(3), MakeAsn<NullAsnNode>())),
              "A3 02 05 00");
}

TEST(AsnNodeBag, BagWithoutAChildIsEmpty) {
    EXPECT_EQ(Encoded(AsnNodeBag(ConstructedContextIdentifier(0), {})), "A0 00");
    EXPECT_EQ(AsnNodeBag(kBitStringIdentifier, {}).CalculateContentSize(), 1U);
}

TEST(AsnNodeBag, BagComputesItsSizeEachTime) {
    const auto inner = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    const AsnNodeBag bag(ConstructedContextIdentifier(0), inner);
    EXPECT_EQ(bag.CalculateContentSize(), 2U);
    inner->AddChild(MakeAsn<NullAsnNode>());
    EXPECT_EQ(bag.CalculateContentSize(), 4U);
}

TEST(AsnNodeBag, NoRoomForTheCountOfUnusedBitsFails) {
    Blob blob(3);
    BlobCursor cursor{&blob, 3};
    const AsnNodeBag bag(kBitStringIdentifier, MakeAsn<NullAsnNode>());
    EXPECT_EQ(MessageOf<NotEnoughMemoryForAsnBlob>([&] { bag.SerializeContent(cursor); }),
              "[AsnNodeBag::SerializeContent] Not enough memory for ASN blob.");
}

}  // namespace
}  // namespace pkisdk::asn
