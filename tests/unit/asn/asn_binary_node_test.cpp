#include "asn/asn_binary_node.h"

#include <gtest/gtest.h>

#include "asn/asn_cursor.h"
#include "foundation/asn_exceptions.h"
#include "support/octets.h"
#include "support/output_trees.h"

namespace pkisdk::asn {
namespace {

using support::Encoded;
using support::FromHex;
using support::MessageOf;
using support::OctetString;
using support::ToHex;

TEST(AsnBinaryNode, BinaryNodeWithoutContentIsItsIdentifierAndZero) {
    EXPECT_EQ(Encoded(*MakeAsn<AsnBinaryNode>(kOctetStringIdentifier)), "04 00");
}

TEST(AsnBinaryNode, BinaryNodeWritesItsContent) {
    const auto node = MakeAsn<AsnBinaryNode>(PrimitiveContextIdentifier(31));
    node->content = FromHex("AA BB");
    EXPECT_EQ(Encoded(*node), "9F 1F 02 AA BB");
}

TEST(AsnBinaryNode, CopyOfAnObjectHasItsIdentifierAndContent) {
    const Blob blob = FromHex("30 05 02 01 05 05 00 AA");
    EXPECT_EQ(Encoded(*MakeAsn<AsnBinaryNode>(AsnObjectReadable::FromBlob(blob))),
              "30 05 02 01 05 05 00");
}

TEST(AsnBinaryNode, CopyOfAnIndefiniteObjectWrites80TheContentAsOneRunAnd0000) {
    const Blob blob = FromHex("30 80 02 01 05 30 80 05 00 00 00 00 00 AA");
    const auto node = MakeAsn<AsnBinaryNode>(AsnObjectReadable::FromBlob(blob));
    EXPECT_TRUE(node->IsIndefinite());
    EXPECT_EQ(ToHex(node->content), "02 01 05 30 80 05 00 00 00");
    EXPECT_EQ(Encoded(*node), "30 80 02 01 05 30 80 05 00 00 00 00 00");
    const Blob empty = FromHex("30 80 00 00");
    EXPECT_EQ(Encoded(*MakeAsn<AsnBinaryNode>(AsnObjectReadable::FromBlob(empty))), "30 80 00 00");
}

TEST(AsnBinaryNode, CopyOfAnIndefiniteObjectTakesOneOctetForItsLengthHoweverLongItIs) {
    const Blob octetString = FromHex("04 81 C8");
    Blob blob = FromHex("30 80");
    blob.Append(octetString.GetData(), octetString.GetSize());
    blob.Append(Blob(200).GetData(), 200);
    blob.Append(Blob(2).GetData(), 2);
    EXPECT_EQ(Encoded(*MakeAsn<AsnBinaryNode>(AsnObjectReadable::FromBlob(blob))), ToHex(blob));
}

TEST(AsnBinaryNode, EndOfAnIndefiniteCopyStandsBeforeTheNextNode) {
    const Blob blob = FromHex("30 80 05 00 00 00");
    const auto node =
        support::SequenceOf(MakeAsn<AsnBinaryNode>(AsnObjectReadable::FromBlob(blob)));
    node->AddChild(OctetString(1));
    EXPECT_EQ(Encoded(*node), "30 09 30 80 05 00 00 00 04 01 00");
}

TEST(AsnBinaryNode, EmptyContentNeedsNoRoom) {
    Blob blob(1);
    BlobCursor cursor{&blob, 1};
    EXPECT_NO_THROW(MakeAsn<AsnBinaryNode>(kOctetStringIdentifier)->SerializeContent(cursor));
    for (const std::int32_t position : {-2, 4}) {
        BlobCursor outside{&blob, position};
        EXPECT_NO_THROW(MakeAsn<AsnBinaryNode>(kOctetStringIdentifier)->SerializeContent(outside));
    }
}

TEST(AsnBinaryNode, NoRoomForTheContentOfABinaryNodeFails) {
    Blob blob(3);
    BlobCursor cursor = CursorOver(blob);
    EXPECT_EQ(
        MessageOf<NotEnoughMemoryForAsnBlob>([&] { OctetString(4)->SerializeContent(cursor); }),
        "[asn::AsnBinaryNode::SerializeContent] Not enough memory for ASN blob.");
    for (const std::int32_t position : {-2, 4}) {
        BlobCursor outside{&blob, position};
        EXPECT_THROW(OctetString(1)->SerializeContent(outside), NotEnoughMemoryForAsnBlob);
    }
    EXPECT_EQ(ToHex(blob), "00 00 00");
}

TEST(AsnBinaryNode, BorrowedContentIsWrittenFromWhereItLies) {
    const Blob content = FromHex("AA BB");
    const AsnBinaryNode node(kOctetStringIdentifier, &content);
    EXPECT_EQ(&node.GetContent(), &content);
    EXPECT_EQ(Encoded(node), "04 02 AA BB");
}

}  // namespace
}  // namespace pkisdk::asn
