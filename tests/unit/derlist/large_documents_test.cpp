// Wide, deep and hostile documents of a size at which anything more than linear would not end.
#include <gtest/gtest.h>

#include <algorithm>

#include "derlist/der_list.h"
#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "support/der_outline.h"
#include "support/document_generator.h"

namespace pkisdk {
namespace {

using outline::MakeNode;

constexpr std::size_t kWide = 1'000'000;
constexpr std::int32_t kDeep = 100'000;

bool SameNode(const DerNode& left, const DerNode& right) {
    return left.depth == right.depth && left.tag == right.tag && left.content == right.content &&
           left.contentLength == right.contentLength;
}

bool SameNodes(const DerList& left, const DerList& right) {
    return left.size() == right.size() &&
           std::equal(left.begin(), left.end(), right.begin(), SameNode);
}

DerList BuildWide() {
    DerList list;
    list.Append(MakeNode(0, 0x30));
    while (list.size() < kWide) {
        list.Append(MakeNode(1, 0x02, {5}));
    }
    return list;
}

DerList BuildDeep(std::int32_t depth) {
    DerList list;
    for (std::int32_t level = 0; level < depth; ++level) {
        list.Append(MakeNode(level, 0x30));
    }
    list.Append(MakeNode(depth, 0x02, {5}));
    return list;
}

// Through bytes and back, drops and copies.
void Exercise(const DerList& built) {
    Blob bytes;
    ASSERT_EQ(FlattenSubtree(built, 0, &bytes), 1);
    EXPECT_EQ(bytes.GetSize(), EncodedNodeSize(*built.begin()));
    DerList parsed;
    ASSERT_EQ(ParseDerList(bytes.GetData(), static_cast<std::int32_t>(bytes.GetSize()), &parsed),
              1);
    EXPECT_TRUE(SameNodes(built, parsed));
    parsed.ReinsertAll();
    EXPECT_TRUE(SameNodes(built, parsed));

    DerList dropped = built;
    dropped.DropLast();
    parsed.DropLast();
    EXPECT_EQ(dropped.size(), built.size() - 1);
    EXPECT_TRUE(SameNodes(dropped, parsed));
    dropped.Append(built.back());
    EXPECT_TRUE(SameNodes(dropped, built));
}

TEST(LargeDocuments, MillionNodesSideBySide) {
    const DerList list = BuildWide();
    EXPECT_EQ(list.begin()->contentLength, 3 * (kWide - 1));
    Exercise(list);
}

TEST(LargeDocuments, HundredThousandLevels) {
    const DerList list = BuildDeep(kDeep);
    // The innermost 62 levels have headers of two bytes: 3 + 2 * 62 = 127.
    EXPECT_EQ(std::prev(list.end(), 2)->contentLength, 3U);
    EXPECT_EQ(std::prev(list.end(), 64)->contentLength, 127U);
    EXPECT_EQ(std::prev(list.end(), 65)->contentLength, 129U);
    EXPECT_EQ(std::prev(list.end(), 66)->contentLength, 132U);
    Exercise(list);
}

TEST(LargeDocuments, MillionLevels) {
    Exercise(BuildDeep(1'000'000));
}

TEST(LargeDocuments, MillionNodesDropOneByOne) {
    DerList wide = BuildWide();
    while (wide.size() > 1) {
        wide.DropLast();
    }
    EXPECT_EQ(wide.begin()->contentLength, 0U);
    DerList deep = BuildDeep(kDeep);
    while (deep.size() > 1) {
        deep.DropLast();
    }
    EXPECT_EQ(deep.begin()->contentLength, 0U);
}

TEST(LargeDocuments, IndefiniteLevelsWhoseChecksOverlap) {
    constexpr std::size_t levels = 250'000;
    const documents::Bytes document = documents::OverlappingRuns(levels);
    DerList list;
    EXPECT_EQ(ParseDerList(document.data(), static_cast<std::int32_t>(document.size()), &list), 1);
    EXPECT_EQ(list.size(), document.size() / 2);
    EXPECT_EQ(std::next(list.begin(), levels)->depth, static_cast<std::int32_t>(levels));
    EXPECT_TRUE(std::all_of(list.begin(), std::next(list.begin(), levels),
                            [](const DerNode& node) { return node.indefinite == 1; }));
}

TEST(LargeDocuments, ManyMatchesInOnePass) {
    DerList list;
    list.Append(MakeNode(0, 0x30));
    for (int i = 0; i < 200'000; ++i) {
        list.Append(MakeNode(1, 0x30));
        list.Append(MakeNode(2, 0x06, {0x2A, 0x03}));
    }
    OidMatchCursor cursor(list, "1.2.3");
    int matches = 0;
    DerList structure;
    while (cursor.MoveNext() && cursor.GetStructure(&structure) != 0) {
        ++matches;
    }
    EXPECT_EQ(matches, 200'000);
    EXPECT_EQ(outline::Outline(structure), "0:30:4 1:06:2");
}

}  // namespace
}  // namespace pkisdk
