// Objects nested a million deep are measured, walked, written and destroyed without recursion, in
// time that grows with the depth: with its square, the tests would not come to an end.
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "asn/asn_child_iterator.h"
#include "asn/asn_encoders.h"
#include "asn/asn_node_bag.h"
#include "asn/asn_node_container.h"
#include "asn/asn_object_readable.h"

namespace pkisdk::asn {
namespace {

constexpr std::size_t kDepth = 1000000;

using Octets = std::vector<std::uint8_t>;

Blob ToBlob(const Octets& octets) {
    return {octets.data(), octets.size()};
}

void AppendRepeated(Octets* octets, std::size_t count, std::uint8_t first, std::uint8_t second) {
    for (std::size_t i = 0; i < count; ++i) {
        octets->push_back(first);
        octets->push_back(second);
    }
}

// Indefinite sequences around `innermost`.
Blob Indefinite(const Octets& innermost) {
    Octets octets;
    AppendRepeated(&octets, kDepth, 0x30, 0x80);
    octets.insert(octets.end(), innermost.begin(), innermost.end());
    AppendRepeated(&octets, kDepth, 0x00, 0x00);
    return ToBlob(octets);
}

const Octets kNull = {0x05, 0x00};

std::uint32_t SizeAtLevel(std::size_t level) {
    return static_cast<std::uint32_t>((kDepth - 1 - level) * 4 + kNull.size());
}

AsnObjectHandle Innermost(AsnObjectHandle object) {
    while (const AsnObjectHandle child = object->GetFirstChild()) {
        object = child;
    }
    return object;
}

TEST(DeepNesting, IndefiniteObjectsAreMeasuredFromTheOutside) {
    const Blob blob = Indefinite(kNull);
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    EXPECT_EQ(root->GetContentSize(), SizeAtLevel(0));
    EXPECT_EQ(root->GetEndPosition(), blob.GetSize());
}

TEST(DeepNesting, IndefiniteObjectsAreWalkedDownwardWithEverySizeAskedFor) {
    const Blob blob = Indefinite(kNull);
    AsnObjectHandle object = AsnObjectReadable::FromBlob(blob);
    for (std::size_t level = 0; level < kDepth; ++level) {
        AsnChildIterator iterator(object);
        iterator.Begin();
        const AsnObjectHandle child = iterator.Current("");
        ASSERT_FALSE(iterator.Next());
        ASSERT_EQ(object->GetContentSize(), SizeAtLevel(level));
        object = child;
    }
    EXPECT_EQ(object->GetIdentifier(), kNullIdentifier);
}

TEST(DeepNesting, IndefiniteObjectsAreMeasuredFromTheInside) {
    const Blob blob = Indefinite(kNull);
    AsnObjectHandle object = Innermost(AsnObjectReadable::FromBlob(blob))->GetParent();
    for (std::size_t level = kDepth; level-- > 0;) {
        ASSERT_EQ(object->GetContentSize(), SizeAtLevel(level));
        object = object->GetParent();
    }
    EXPECT_EQ(object, nullptr);
}

TEST(DeepNesting, IndefiniteObjectsAreWalkedAgainWithoutMeasuringThemAgain) {
    const Blob blob = Indefinite(kNull);
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    ASSERT_EQ(root->GetContentSize(), SizeAtLevel(0));
    for (int round = 0; round < 2; ++round) {
        AsnObjectHandle object = root;
        for (std::size_t level = 0; level < kDepth; ++level) {
            ASSERT_EQ(object->GetContentSize(), SizeAtLevel(level));
            object = object->GetFirstChild();
        }
    }
}

TEST(DeepNesting, ChildrenOfALongIndefiniteChainDoNotClimbItEachTime) {
    Octets children;
    AppendRepeated(&children, kDepth, 0x05, 0x00);
    const Blob blob = Indefinite(children);
    const AsnObjectHandle parent = Innermost(AsnObjectReadable::FromBlob(blob))->GetParent();
    AsnChildIterator iterator(parent);
    iterator.Begin();
    std::size_t count = 1;
    while (iterator.Next()) {
        ++count;
    }
    EXPECT_EQ(count, kDepth);
    EXPECT_EQ(parent->GetContentSize(), 2 * kDepth);
}

TEST(DeepNesting, IndefiniteObjectsThatNeverEndAreRefused) {
    Octets octets;
    AppendRepeated(&octets, kDepth, 0x30, 0x80);
    const Blob blob = ToBlob(octets);
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    EXPECT_THROW(root->GetContentSize(), BadAsnData);
}

TEST(DeepNesting, DefiniteObjectsAreWalkedToTheInnermost) {
    constexpr std::size_t kHeader = 6;
    Octets octets;
    for (std::size_t level = 1; level <= kDepth; ++level) {
        const std::size_t size = (kDepth - level) * kHeader;
        octets.insert(octets.end(),
                      {0x30, 0x84, static_cast<std::uint8_t>(size >> 24),
                       static_cast<std::uint8_t>(size >> 16), static_cast<std::uint8_t>(size >> 8),
                       static_cast<std::uint8_t>(size)});
    }
    const Blob blob = ToBlob(octets);
    const AsnObjectHandle innermost = Innermost(AsnObjectReadable::FromBlob(blob));
    EXPECT_EQ(innermost->GetOffset(), (kDepth - 1) * kHeader);
    EXPECT_EQ(innermost->GetContentSize(), 0U);
}

TEST(DeepNesting, CollectionOfSuchObjectsIsReadAndWritten) {
    Octets octets = {0x31, 0x80};
    const Blob element = Indefinite(kNull);
    const auto bytes = element.Bytes();
    octets.insert(octets.end(), bytes.begin(), bytes.end());
    octets.insert(octets.end(), {0x05, 0x00, 0x00, 0x00});
    const Blob blob = ToBlob(octets);
    std::list<Blob> elements;
    AsnBlobCollectionEncoder::Decode(AsnObjectReadable::FromBlob(blob), &elements);
    ASSERT_EQ(elements.size(), 2U);
    EXPECT_TRUE(elements.front() == element);
    const auto node = AsnBlobCollectionEncoder::Encode(elements, kSetIdentifier);
    EXPECT_EQ(node->CalculateContentSize(), element.GetSize() + 2);
}

TEST(DeepNesting, OutputTreeIsSizedWrittenAndReleased) {
    AsnNodeHandle node = MakeAsn<NullAsnNode>();
    for (std::size_t level = 0; level < kDepth / 2; ++level) {
        const auto container = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
        container->AddChild(MakeAsn<AsnNodeBag>(ConstructedContextIdentifier(0), node));
        node = container;
    }
    Blob blob;
    node->Serialize(&blob);
    EXPECT_EQ(blob.GetSize(), node->GetEncodedSize());
    node.reset();
    const AsnObjectHandle innermost = Innermost(AsnObjectReadable::FromBlob(blob));
    EXPECT_EQ(innermost->GetIdentifier(), kNullIdentifier);
    EXPECT_EQ(innermost->GetOffset(), blob.GetSize() - 2);
}

}  // namespace
}  // namespace pkisdk::asn
