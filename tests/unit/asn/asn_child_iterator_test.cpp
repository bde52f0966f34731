#include "asn/asn_child_iterator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/octets.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::MessageOf;

// The offsets of the children of the blob's first object.
std::vector<std::uint32_t> OffsetsOfChildren(const char* hex) {
    const Blob blob = FromHex(hex);
    AsnChildIterator iterator(AsnObjectReadable::FromBlob(blob));
    std::vector<std::uint32_t> offsets;
    iterator.Begin();
    while (iterator.CurrentOrEmpty() != nullptr) {
        offsets.push_back(iterator.CurrentOrEmpty()->GetOffset());
        iterator.Next();
    }
    return offsets;
}

using Offsets = std::vector<std::uint32_t>;

TEST(AsnChildIterator, ObjectWithoutContentHasNoNext) {
    const Blob blob = FromHex("30 00");
    AsnChildIterator iterator(AsnObjectReadable::FromBlob(blob));
    EXPECT_TRUE(iterator.Begin());
    EXPECT_EQ(iterator.CurrentOrEmpty(), nullptr);
    EXPECT_FALSE(iterator.Next());
}

TEST(AsnChildIterator, WalkEndsWhereTheLastChildEndsWithItsParent) {
    const Blob blob = FromHex("30 03 02 01 05");
    AsnChildIterator iterator(AsnObjectReadable::FromBlob(blob));
    EXPECT_TRUE(iterator.Begin());
    EXPECT_EQ(iterator.Current("")->GetOffset(), 2U);
    EXPECT_EQ(iterator.GetPosition(), blob.GetData() + 2);
    EXPECT_FALSE(iterator.Next());
    EXPECT_EQ(iterator.CurrentOrEmpty(), nullptr);
    EXPECT_EQ(iterator.GetPosition(), blob.GetData() + 5);
    EXPECT_FALSE(iterator.Next());
}

TEST(AsnChildIterator, ChildrenComeInOrder) {
    EXPECT_EQ(OffsetsOfChildren("30 09 02 01 05 30 02 05 00 05 00 AA"), (Offsets{2, 5, 9}));
    EXPECT_EQ(OffsetsOfChildren("30 80 02 01 05 30 02 05 00 05 00 00 00 AA"), (Offsets{2, 5, 9}));
    EXPECT_EQ(OffsetsOfChildren("30 09 30 80 02 01 05 00 00 05 00"), (Offsets{2, 9}));
}

TEST(AsnChildIterator, PositionIsWhereTheCurrentChildStarts) {
    const Blob blob = FromHex("30 06 02 01 05 02 01 06");
    AsnChildIterator iterator(AsnObjectReadable::FromBlob(blob));
    iterator.Begin();
    EXPECT_TRUE(iterator.Next());
    EXPECT_EQ(iterator.GetPosition(), blob.GetData() + 5);
}

TEST(AsnChildIterator, BeginStartsAnew) {
    const Blob blob = FromHex("30 06 02 01 05 02 01 06");
    AsnChildIterator iterator(AsnObjectReadable::FromBlob(blob));
    iterator.Begin();
    EXPECT_TRUE(iterator.Next());
    EXPECT_TRUE(iterator.Begin());
    EXPECT_EQ(iterator.Current("")->GetOffset(), 2U);
    EXPECT_EQ(iterator.GetPosition(), blob.GetData() + 2);
}

TEST(AsnChildIterator, LaterChildThatPassesTheEndOfItsParentFails) {
    const Blob blob = FromHex("30 05 05 00 04 03 AA BB CC");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    AsnChildIterator iterator(root);
    iterator.Begin();
    EXPECT_EQ(
        MessageOf<BadAsnData>([&] { iterator.Next(); }),
        "[AsnObjectReadable::CheckContentSize] End of object is out of the parent object with "
        "defined content length. Bad ASN data. Error in position 4.");
}

TEST(AsnChildIterator, EveryChildHoldsTheObjectThatIsWalked) {
    const Blob blob = FromHex("30 06 02 01 05 02 01 06");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    AsnChildIterator iterator(root);
    iterator.Begin();
    EXPECT_EQ(iterator.Current("")->GetParent(), root);
    EXPECT_TRUE(iterator.Next());
    EXPECT_EQ(iterator.Current("")->GetParent(), root);
}

TEST(AsnChildIterator, IndefiniteParentEndsAtTwoZeroOctetsAndKnowsItsSizeThen) {
    const Blob blob = FromHex("30 80 02 01 05 00 00 05 00");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    AsnChildIterator iterator(root);
    iterator.Begin();
    EXPECT_FALSE(iterator.Next());
    EXPECT_EQ(iterator.GetPosition(), blob.GetData() + 7);
    EXPECT_EQ(root->GetContentSize(), 3U);
}

TEST(AsnChildIterator, EmptyIndefiniteChildTakesTwoOctetsMoreThanItHas) {
    EXPECT_EQ(OffsetsOfChildren("30 08 30 80 00 00 05 00 02 00"), (Offsets{2, 8}));
}

TEST(AsnChildIterator, EmptyIndefiniteChildAtTheEndOfTheBlobIsTheLast) {
    EXPECT_EQ(OffsetsOfChildren("30 04 30 80 00 00"), (Offsets{2}));
}

TEST(AsnChildIterator, PrimitiveChildInIndefiniteFormIsSteppedIntoItsContent) {
    // It measures minus 2, so that what follows its header comes next.
    EXPECT_EQ(OffsetsOfChildren("30 06 04 80 05 00 05 00"), (Offsets{2, 4, 6}));
}

TEST(AsnChildIterator, WalkThatPassesTheEndOfADefiniteParentFails) {
    // The empty indefinite child takes two octets more, of which the parent holds one.
    const Blob blob = FromHex("30 05 30 80 00 00 01 02 01 05");
    AsnChildIterator iterator(AsnObjectReadable::FromBlob(blob));
    iterator.Begin();
    EXPECT_EQ(MessageOf<BadAsnData>([&] { iterator.Next(); }),
              "[AsnObjectReadable::CheckContentSize] End of object is out of ASN BLOB. Bad ASN "
              "data. Error in position 8.");
}

TEST(AsnChildIterator, IndefiniteParentThatDoesNotEndFails) {
    const Blob blob = FromHex("30 80 02 01 05 00");
    AsnChildIterator iterator(AsnObjectReadable::FromBlob(blob));
    iterator.Begin();
    EXPECT_EQ(MessageOf<BadAsnData>([&] { iterator.Next(); }),
              "[AsnObjectHeader parsing] Bad ASN data. Error in position 5.");
}

TEST(AsnChildIterator, CurrentAtTheEndFailsAboutTheObjectThatIsWalked) {
    const Blob blob = FromHex("05 00 30 00");
    BlobCursor cursor{const_cast<Blob*>(&blob), 2};
    AsnChildIterator iterator(MakeAsn<AsnObjectReadable>(cursor, AsnObjectHandle()));
    iterator.Begin();
    EXPECT_EQ(MessageOf<BadAsnContent>([&] { iterator.Current("Some.path"); }),
              " Bad ASN object content. Unexpacted end of ASN object. Context: \"Some.path\". "
              "Object: offset - 2; identifier - \"Sequence\". ");
    EXPECT_EQ(MessageOf<BadAsnContent>([&] { iterator.Current(""); }),
              " Bad ASN object content. Unexpacted end of ASN object. Object: offset - 2; "
              "identifier - \"Sequence\". ");
}

TEST(AsnChildIterator, PassedChildIsReleasedUnlessItIsHeld) {
    const Blob blob = FromHex("30 04 05 00 02 00");
    AsnChildIterator iterator(AsnObjectReadable::FromBlob(blob));
    iterator.Begin();
    const AsnObjectHandle held = iterator.CurrentOrEmpty();
    EXPECT_TRUE(iterator.Next());
    EXPECT_EQ(held->GetIdentifier(), kNullIdentifier);
    EXPECT_EQ(iterator.CurrentOrEmpty()->GetIdentifier(), kIntegerIdentifier);
}

}  // namespace
}  // namespace pkisdk::asn
