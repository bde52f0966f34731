#include "pfximport/bag_walk.h"

#include <gtest/gtest.h>

#include <random>

#include "foundation/exception.h"
#include "support/import_fixture.h"

namespace {

using pkisdk::Blob;
using pkisdk::DerList;
using test_support::Bytes;
using test_support::Element;
using test_support::Join;
using test_support::Oid;
using test_support::ToList;

constexpr char kBagOid[] = "1.2.840.113549.1.12.10.1.3";

Blob Flat(const DerList& list) {
    Blob flat;
    pkisdk::FlattenSubtree(list, 0, &flat);
    return flat;
}

// So many bags, each in the one before.
Bytes Nested(int depth) {
    Bytes bytes;
    for (; depth > 0; --depth) {
        bytes = Element(0x30, Join({Oid(kBagOid), bytes}));
    }
    return bytes;
}

void ExpectWhatTheQueryFinds(const Bytes& bytes) {
    DerList list = ToList(bytes);
    pkisdk::BagWalk walk(list, kBagOid);
    pkisdk::BagWalk walkOfSpans(list, kBagOid);
    DerList expected;
    DerList actual;
    pkisdk::DerSpans spans;
    for (std::uint32_t n = 1; pkisdk::FindNthByOid(&list, kBagOid, n, &expected) != 0; ++n) {
        ASSERT_TRUE(walk.Next(&actual));
        EXPECT_EQ(Flat(actual), Flat(expected));
        EXPECT_EQ(actual.size(), expected.size());
        ASSERT_TRUE(walkOfSpans.Next(&spans));
        Blob flat;
        EXPECT_TRUE(spans.Flatten(0, &flat));
        EXPECT_EQ(flat, Flat(expected));
        EXPECT_EQ(spans.Nodes().size(), expected.size());
    }
    EXPECT_FALSE(walk.Next(&actual));
    EXPECT_FALSE(walkOfSpans.Next(&spans));
}

TEST(BagWalk, GivesWhatTheNthQueryFinds) {
    ExpectWhatTheQueryFinds({});
    ExpectWhatTheQueryFinds(Oid(kBagOid));
    ExpectWhatTheQueryFinds(Element(0x30, Oid("1.2.3")));
    ExpectWhatTheQueryFinds(Nested(20));
    std::mt19937 random(20251122);
    for (int round = 0; round < 200; ++round) {
        Bytes bytes;
        for (int i = 0; i < 20; ++i) {
            switch (random() % 4) {
                case 0:
                    bytes = Join({bytes, Oid(kBagOid)});
                    break;
                case 1:
                    bytes = Element(0x30, bytes);
                    break;
                case 2:
                    bytes = Element(0x04, bytes);
                    break;
                default:
                    bytes = Join({Element(0x02, {1}), bytes});
            }
        }
        ExpectWhatTheQueryFinds(Element(0x30, bytes));
    }
}

TEST(BagWalk, ATypeThatIsNoIdentifierMatchesNothing) {
    const DerList list = ToList(Nested(1));
    DerList bag;
    EXPECT_FALSE(pkisdk::BagWalk(list, "no identifier").Next(&bag));
}

// A NULL with a length, as no document is read to, but a list may hold.
TEST(BagWalk, ABagThatDoesNotParseEndsTheWalk) {
    DerList list;
    const Bytes oid = Oid(kBagOid);
    const Blob octets(oid.data() + 2, oid.size() - 2);
    ASSERT_EQ(AppendDerNode(-1, {0, 0x30, Blob()}, &list), 1);
    ASSERT_EQ(AppendDerNode(-1, {1, 0x30, Blob()}, &list), 1);
    ASSERT_EQ(AppendDerNode(-1, {2, 0x06, octets}, &list), 1);
    ASSERT_EQ(AppendDerNode(-1, {2, 0x05, Blob("A", 1)}, &list), 1);
    DerList bag;
    EXPECT_FALSE(pkisdk::BagWalk(list, kBagOid).Next(&bag));
    pkisdk::DerSpans spans;
    EXPECT_FALSE(pkisdk::BagWalk(list, kBagOid).Next(&spans));
}

struct Document {
    Bytes bytes;
    // The octets of all bags, each with what lies in it.
    std::uint64_t copies = 0;
};

// Bags in one another behind so many octets, of which the innermost holds so many more.
Document NestedBehind(std::size_t before, std::size_t inside) {
    constexpr int kDepth = 199;
    Document document;
    Bytes bag = Element(0x04, Bytes(inside, 0xFF));
    for (int depth = 0; depth < kDepth; ++depth) {
        bag = Element(0x30, Join({Oid(kBagOid), bag}));
        document.copies += bag.size();
    }
    document.bytes = Element(0x30, Join({Element(0x04, Bytes(before, 0xFF)), bag}));
    return document;
}

bool IsWalkedThrough(const Bytes& bytes) {
    const DerList list = ToList(bytes);
    pkisdk::BagWalk walk(list, kBagOid);
    pkisdk::BagWalk walkOfSpans(list, kBagOid);
    DerList bag;
    pkisdk::DerSpans spans;
    int thrown = 0;
    try {
        while (walk.Next(&bag)) {
        }
    } catch (const pkisdk::Exception&) {
        ++thrown;
    }
    try {
        while (walkOfSpans.Next(&spans)) {
        }
    } catch (const pkisdk::Exception&) {
        ++thrown;
    }
    EXPECT_NE(thrown, 1);
    return thrown == 0;
}

// The copies of a walk may be 64 times the list and not an octet more.
TEST(BagWalk, TheCopiesMayBe64TimesTheListExactly) {
    constexpr std::uint64_t kTimes = 64;
    for (const std::uint64_t over : {0U, 1U}) {
        std::size_t inside = 1;
        while (NestedBehind(0, inside).copies % kTimes != over) {
            ++inside;
        }
        const Document shorter = NestedBehind(1000, inside);
        const std::size_t before = 1000 + shorter.copies / kTimes - shorter.bytes.size();
        const Document document = NestedBehind(before, inside);
        ASSERT_EQ(document.bytes.size() * kTimes + over, document.copies);
        EXPECT_EQ(IsWalkedThrough(document.bytes), over == 0);
        EXPECT_TRUE(IsWalkedThrough(NestedBehind(before + 1, inside).bytes));
        EXPECT_FALSE(IsWalkedThrough(NestedBehind(before - 1, inside).bytes));
    }
}

// The copies of n bags in one another are n / 2 times the list.
TEST(BagWalk, BagsThatLieTooDeepInOneAnotherThrow) {
    const DerList deep = ToList(Nested(1'000));
    pkisdk::BagWalk walk(deep, kBagOid);
    DerList bag;
    int given = 0;
    EXPECT_THROW(
        while (walk.Next(&bag)) { ++given; }, pkisdk::Exception);
    EXPECT_EQ(given, 66);
    pkisdk::BagWalk walkOfSpans(deep, kBagOid);
    pkisdk::DerSpans spans;
    EXPECT_THROW(
        while (walkOfSpans.Next(&spans)) { --given; }, pkisdk::Exception);
    EXPECT_EQ(given, 0);
}

}  // namespace
