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
