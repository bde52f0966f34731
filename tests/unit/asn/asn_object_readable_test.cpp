#include "asn/asn_object_readable.h"

#include <gtest/gtest.h>

#include <string>

#include "asn/asn_cursor.h"
#include "support/failing_allocator.h"
#include "support/octets.h"
#include "support/wide_text.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::MessageOf;
using support::ToHex;

std::string FailureOfFirstChild(const char* hex) {
    const Blob blob = FromHex(hex);
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    return MessageOf<BadAsnData>([&] { root->GetFirstChild(); });
}

TEST(AsnObjectReadable, HoldsThePlaceOfItsOctets) {
    const Blob blob = FromHex("30 03 02 01 05");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    EXPECT_EQ(root->GetIdentifier(), kSequenceIdentifier);
    EXPECT_FALSE(root->IsIndefinite());
    EXPECT_TRUE(root->HasContent());
    EXPECT_EQ(root->GetContentSize(), 3U);
    EXPECT_EQ(root->GetContent().data(), blob.GetData() + 2);
    EXPECT_EQ(root->GetContent().size(), 3U);
    EXPECT_EQ(root->GetContentCursor().position, 2);
    EXPECT_EQ(root->GetOffset(), 0U);
    EXPECT_EQ(root->GetParent(), nullptr);
    EXPECT_EQ(root->GetObjectEnd(), blob.GetData() + 5);

    const AsnObjectHandle child = root->GetFirstChild();
    EXPECT_EQ(child->GetIdentifier(), kIntegerIdentifier);
    EXPECT_EQ(child->GetOffset(), 2U);
    EXPECT_EQ(child->GetParent(), root);
    EXPECT_EQ(child->GetFirstChild(), nullptr);
}

TEST(AsnObjectReadable, ContentOfAnEmptyObjectIsNowhere) {
    for (const char* const hex : {"30 00", "04 00 AA", "30 80 00 00"}) {
        const Blob blob = FromHex(hex);
        EXPECT_EQ(AsnObjectReadable::FromBlob(blob)->GetContent().data(), nullptr) << hex;
    }
}

TEST(AsnObjectReadable, ObjectsGoWithTheirLastHandle) {
    const Blob blob = FromHex("30 80 30 80 05 00 00 00 02 01 05 00 00");
    const long before = allocation::LiveBlocks();
    AsnObjectHandle leaf;
    {
        const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
        EXPECT_EQ(root->GetContentSize(), 9U);
        leaf = root->GetFirstChild()->GetFirstChild();
    }
    EXPECT_EQ(leaf->GetParent()->GetParent()->GetOffset(), 0U);
    EXPECT_GT(allocation::LiveBlocks(), before);
    leaf.reset();
    EXPECT_EQ(allocation::LiveBlocks(), before);
}

TEST(AsnObjectReadable, ConstructionLeavesTheCursorBehindTheHeader) {
    const Blob blob = FromHex("05 00 04 02 AA BB");
    BlobCursor cursor{const_cast<Blob*>(&blob), 2};
    const auto object = MakeAsn<AsnObjectReadable>(cursor, AsnObjectHandle());
    EXPECT_EQ(cursor.position, 4);
    EXPECT_EQ(object->GetOffset(), 2U);
    EXPECT_EQ(object->GetEndPosition(), 6U);
}

TEST(AsnObjectReadable, EmptyBlobHoldsNoObject) {
    const Blob blob;
    EXPECT_EQ(MessageOf<BadAsnData>([&] { AsnObjectReadable::FromBlob(blob); }),
              "[AsnObjectHeader parsing] Bad ASN data.");
}

TEST(AsnObjectReadable, EmptySequenceHasNoContentAndNoChildren) {
    const Blob blob = FromHex("30 00");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    EXPECT_FALSE(root->HasContent());
    EXPECT_TRUE(root->GetContent().empty());
    EXPECT_EQ(root->GetFirstChild(), nullptr);
}

TEST(AsnObjectReadable, ObjectLongerThanTheBlobFails) {
    const Blob blob = FromHex("04 03 AA BB");
    EXPECT_EQ(MessageOf<BadAsnData>([&] { AsnObjectReadable::FromBlob(blob); }),
              "[AsnObjectReadable::CheckContentSize] End of object is out of ASN BLOB. Bad ASN "
              "data. Error in position 0.");
}

TEST(AsnObjectReadable, ChildLongerThanItsParentFailsWhenItIsConstructed) {
    EXPECT_EQ(FailureOfFirstChild("30 03 02 02 05"),
              "[AsnObjectReadable::CheckContentSize] End of object is out of ASN BLOB. Bad ASN "
              "data. Error in position 2.");
    EXPECT_EQ(FailureOfFirstChild("30 03 02 02 05 05 00"),
              "[AsnObjectReadable::CheckContentSize] End of object is out of the parent object "
              "with defined content length. Bad ASN data. Error in position 2.");
}

TEST(AsnObjectReadable, ChildOfAnIndefiniteParentIsComparedWithTheNearestDefiniteAncestor) {
    // The innermost object passes the end of the sequence, not that of its direct parent.
    const Blob blob = FromHex("30 06 30 80 02 03 01 02 03 00 00");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    const AsnObjectHandle indefinite = root->GetFirstChild();
    EXPECT_EQ(indefinite->GetDefiniteParent(), root);
    EXPECT_EQ(MessageOf<BadAsnData>([&] { indefinite->GetFirstChild(); }),
              "[AsnObjectReadable::CheckContentSize] End of object is out of the parent object "
              "with defined content length. Bad ASN data. Error in position 4.");
}

TEST(AsnObjectReadable, DefiniteParentIsTheNearestOne) {
    const Blob blob = FromHex("30 0E 30 0C 30 80 30 80 02 01 05 00 00 00 00 00");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    const AsnObjectHandle second = root->GetFirstChild();
    const AsnObjectHandle third = second->GetFirstChild();
    const AsnObjectHandle fourth = third->GetFirstChild();
    EXPECT_EQ(root->GetDefiniteParent(), nullptr);
    EXPECT_EQ(second->GetDefiniteParent(), root);
    EXPECT_EQ(third->GetDefiniteParent(), second);
    EXPECT_EQ(fourth->GetDefiniteParent(), second);
    EXPECT_EQ(fourth->GetFirstChild()->GetDefiniteParent(), second);
}

TEST(AsnObjectReadable, RootThatIsIndefiniteHasNoDefiniteAncestor) {
    const Blob blob = FromHex("30 80 30 80 02 01 05 00 00 00 00");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    EXPECT_EQ(root->GetFirstChild()->GetFirstChild()->GetDefiniteParent(), nullptr);
}

TEST(AsnObjectReadable, EmptyIndefiniteObjectEndsTwoOctetsBeyondItsTrueEnd) {
    const Blob blob = FromHex("30 80 00 00");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    EXPECT_TRUE(root->IsIndefinite());
    EXPECT_FALSE(root->HasContent());
    EXPECT_EQ(root->GetContentSize(), 0U);
    EXPECT_EQ(root->GetContentCursor().position, 4);
    EXPECT_EQ(root->GetEndPosition(), 6U);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(root->GetObjectEnd()),
              reinterpret_cast<std::uintptr_t>(blob.GetData()) + 6);
}

TEST(AsnObjectReadable, IndefiniteObjectMeasuresItsChildren) {
    const Blob blob = FromHex("30 80 02 01 05 00 00");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    EXPECT_EQ(root->GetContentSize(), 3U);
    EXPECT_EQ(root->GetContentSize(), 3U);
    EXPECT_EQ(root->GetObjectEnd(), blob.GetData() + 7);
}

TEST(AsnObjectReadable, AChildInABlobOfItsOwnIsMeasuredByItself) {
    const Blob blob = FromHex("30 80 02 01 05 00 00");
    const AsnObjectHandle parent = AsnObjectReadable::FromBlob(blob);
    EXPECT_EQ(parent->GetContentSize(), 3U);
    const Blob other = FromHex("30 80 02 01 05 02 01 06 00 00");
    BlobCursor cursor{const_cast<Blob*>(&other), 0};
    const auto child = MakeAsn<AsnObjectReadable>(cursor, parent);
    EXPECT_EQ(child->GetParent(), parent);
    EXPECT_EQ(child->GetContentSize(), 6U);
}

TEST(AsnObjectReadable, ASizeIsNotKeptForAnObjectThatHasOne) {
    const Blob blob = FromHex("30 03 02 01 05");
    const AsnObjectHandle object = AsnObjectReadable::FromBlob(blob);
    object->KeepMeasuredSize(2);
    EXPECT_EQ(object->GetContentSize(), 3U);
}

TEST(AsnObjectReadable, MeasuringStepsOverChildrenWhoseOctetIsZero) {
    const Blob blob = FromHex("30 80 00 01 AA 02 01 05 00 01 BB 00 00");
    EXPECT_EQ(AsnObjectReadable::FromBlob(blob)->GetContentSize(), 9U);
}

TEST(AsnObjectReadable, IndefiniteObjectThatDoesNotEndFailsWhenItIsMeasured) {
    const Blob blob = FromHex("30 80 02 01 05");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    EXPECT_EQ(MessageOf<BadAsnData>([&] { root->GetContentSize(); }),
              "[AsnObjectHeader parsing] Bad ASN data. Unexpacted end of asn data.");
}

TEST(AsnObjectReadable, PrimitiveObjectInIndefiniteFormMeasuresMinusTwo) {
    const Blob blob = FromHex("04 80 AA BB 00 00");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    EXPECT_EQ(root->GetContentSize(), 0xFFFFFFFEU);
    EXPECT_EQ(root->GetEndPosition(), 0x100000002U);
}

TEST(AsnObjectReadable, LastHandleDestroysAnObjectAndChildrenKeepTheirParents) {
    const Blob blob = FromHex("30 04 30 02 05 00");
    AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    AsnObjectHandle leaf = root->GetFirstChild()->GetFirstChild();
    root.reset();
    EXPECT_EQ(leaf->GetParent()->GetParent()->GetContentSize(), 4U);
    const AsnObjectHandle again(leaf.get());
    leaf.reset();
    EXPECT_EQ(again->GetIdentifier(), kNullIdentifier);
}

TEST(AsnObjectReadable, MismatchNamesBothIdentifiersThePathAndThePlace) {
    const Blob blob = FromHex("30 02 05 00");
    const AsnObjectHandle child = AsnObjectReadable::FromBlob(blob)->GetFirstChild();
    EXPECT_EQ(MessageOf<UnexpactedAsnIdentifier>(
                  [&] { child->CheckIdentifier(kIntegerIdentifier, "Path.member"); }),
              " Unexpactid ASN identifier: current is \"Null\", but expacted \"Integer\". Context: "
              "\"Path.member\". Object: offset - 2; identifier - \"Null\". ");
    EXPECT_EQ(MessageOf<UnexpactedAsnIdentifier>(
                  [&] { child->CheckIdentifier(PrimitiveContextIdentifier(0), ""); }),
              " Unexpactid ASN identifier: current is \"Null\", but expacted \"128\". Object: "
              "offset - 2; identifier - \"Null\". ");
}

TEST(AsnObjectReadable, MatchingOrAnyIdentifierPasses) {
    const Blob blob = FromHex("05 00");
    const AsnObjectHandle object = AsnObjectReadable::FromBlob(blob);
    EXPECT_NO_THROW(object->CheckIdentifier(kNullIdentifier, ""));
    EXPECT_NO_THROW(object->CheckIdentifier(AnyAsnIdentifier, ""));
}

TEST(AsnObjectReadable, ReadContentOfAnEmptyPrimitiveLeavesTheTargetEmpty) {
    const Blob blob = FromHex("04 00");
    Blob target = FromHex("AA");
    AsnObjectReadable::FromBlob(blob)->ReadContent(&target);
    EXPECT_TRUE(target.IsEmpty());
}

TEST(AsnObjectReadable, ReadContentCopiesThePrimitivesContent) {
    const Blob blob = FromHex("04 02 AA BB CC");
    Blob target;
    AsnObjectReadable::FromBlob(blob)->ReadContent(&target);
    EXPECT_EQ(ToHex(target), "AA BB");
}

TEST(AsnObjectReadable, ReadContentOfAConstructedObjectClearsTheTargetAndFails) {
    const Blob blob = FromHex("30 02 05 00");
    Blob target = FromHex("AA");
    EXPECT_EQ(
        MessageOf<AsnException>([&] { AsnObjectReadable::FromBlob(blob)->ReadContent(&target); }),
        "[AsnObjectReadable::ReadContent] Imposible read the content of constructed object "
        "by this method.");
    EXPECT_TRUE(target.IsEmpty());
}

TEST(AsnObjectReadable, CopyObjectToTakesTheHeaderToo) {
    const Blob blob = FromHex("30 08 30 80 02 01 05 00 00 05 00");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    Blob target;
    root->CopyObjectTo(&target);
    EXPECT_EQ(ToHex(target), "30 08 30 80 02 01 05 00 00 05");
    root->GetFirstChild()->CopyObjectTo(&target);
    EXPECT_EQ(ToHex(target), "30 80 02 01 05 00 00");
}

TEST(AsnObjectReadable, CopyContentToTakesTwoOctetsACharacterInTheMachinesOrder) {
    const Blob blob = FromHex("1E 04 41 00 16 04");
    std::wstring content = L"before";
    AsnObjectReadable::FromBlob(blob)->CopyContentTo(&content);
    const std::uint16_t one = 1;
    const bool isLowFirst = *reinterpret_cast<const std::uint8_t*>(&one) == 1;
    EXPECT_EQ(content,
              isLowFirst ? support::Wide({0x0041, 0x0416}) : support::Wide({0x4100, 0x1604}));
}

TEST(AsnObjectReadable, CopyContentToClearsTheTargetOfAnEmptyObject) {
    const Blob blob = FromHex("1E 00");
    std::wstring content = L"before";
    AsnObjectReadable::FromBlob(blob)->CopyContentTo(&content);
    EXPECT_EQ(content, L"");
}

TEST(AsnObjectReadable, CopyContentToOfAnOddSizeFails) {
    const Blob blob = FromHex("1E 03 00 41 00");
    std::wstring content;
    EXPECT_EQ(MessageOf<AsnException>(
                  [&] { AsnObjectReadable::FromBlob(blob)->CopyContentTo(&content); }),
              "[AsnObjectReadable::CopyContentTo (std::wstring& content)] Incorrect content.");
}

}  // namespace
}  // namespace pkisdk::asn
