#include "derlist/der_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

#include "support/der_outline.h"

namespace pkisdk {
namespace {

using outline::Bytes;
using outline::FlattenToHex;
using outline::MakeNode;
using outline::Outline;

// The list after an append of each node, all of which must be taken.
DerList Build(const std::vector<DerNode>& nodes) {
    DerList list;
    for (const DerNode& node : nodes) {
        EXPECT_EQ(AppendDerNode(-1, node, &list), 1);
    }
    return list;
}

DerNode MakeReadNode(std::int32_t depth, std::uint8_t tag, const Bytes& content) {
    DerNode node = MakeNode(depth, tag, content);
    node.indefinite = 1;
    node.contentLength = 99;
    node.offset = 10;
    node.scopeLength = 20;
    node.scopeStart = 30;
    return node;
}

TEST(EncodedNodeSize, CountsTheHeaderByLength) {
    const auto size = [](std::uint32_t contentLength) {
        DerNode node;
        node.contentLength = contentLength;
        return EncodedNodeSize(node);
    };
    EXPECT_EQ(size(0), 2U);
    EXPECT_EQ(size(127), 129U);
    EXPECT_EQ(size(128), 131U);
    EXPECT_EQ(size(255), 258U);
    EXPECT_EQ(size(256), 260U);
    EXPECT_EQ(size(65535), 65539U);
    EXPECT_EQ(size(65536), 65541U);
    EXPECT_EQ(size(16777215), 16777220U);
    EXPECT_EQ(size(16777216), 16777222U);
}

TEST(DerList, RootAndOneIntegerFlatten) {
    const DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x02, {5})});
    EXPECT_EQ(Outline(list), "0:30:3 1:02:1");
    EXPECT_EQ(FlattenToHex(list), "30 03 02 01 05");
}

TEST(DerList, GrandchildOf126BytesGrowsTheHeaderOfItsParent) {
    const DerList list =
        Build({MakeNode(0, 0x30), MakeNode(1, 0x04), MakeNode(2, 0x04, Bytes(126))});
    EXPECT_EQ(Outline(list), "0:30:131 1:04:128 2:04:126");
}

TEST(DerList, HeaderThatGrowsPassesOneByteMoreUpward) {
    DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x30), MakeNode(2, 0x04, Bytes(125))});
    EXPECT_EQ(Outline(list), "0:30:129 1:30:127 2:04:125");
    EXPECT_EQ(AppendDerNode(-1, MakeNode(2, 0x02, {5}), &list), 1);
    EXPECT_EQ(Outline(list), "0:30:133 1:30:130 2:04:125 2:02:1");
}

TEST(DerList, SameDepthAddsToTheSameParent) {
    const DerList list =
        Build({MakeNode(0, 0x30), MakeNode(1, 0x30), MakeNode(2, 0x02, {5}), MakeNode(2, 0x05)});
    EXPECT_EQ(Outline(list), "0:30:7 1:30:5 2:02:1 2:05:0");
}

TEST(DerList, SmallerDepthClosesTheDeeperNodes) {
    const DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x30), MakeNode(2, 0x31),
                                MakeNode(3, 0x02, {5}), MakeNode(1, 0x30), MakeNode(2, 0x05)});
    EXPECT_EQ(Outline(list), "0:30:11 1:30:5 2:31:3 3:02:1 1:30:2 2:05:0");
    EXPECT_EQ(FlattenToHex(list), "30 0B 30 05 31 03 02 01 05 30 02 05 00");
}

TEST(DerList, DepthThatJumpsByTwoIsRefused) {
    DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x02, {5})});
    EXPECT_EQ(AppendDerNode(-1, MakeNode(3, 0x02, {6}), &list), 0);
    EXPECT_EQ(ReinsertDerNode(-1, MakeNode(3, 0x02, {6}), &list), 0);
    EXPECT_FALSE(list.AppendAsRead(MakeNode(3, 0x02, {6})));
    EXPECT_EQ(Outline(list), "0:30:3 1:02:1");
}

TEST(DerList, SecondRootIsTakenAndChangesNoLength) {
    const DerList list =
        Build({MakeNode(0, 0x30), MakeNode(1, 0x02, {5}), MakeNode(0, 0x31), MakeNode(1, 0x05)});
    EXPECT_EQ(Outline(list), "0:30:3 1:02:1 0:31:2 1:05:0");
    EXPECT_EQ(FlattenToHex(list), "30 03 02 01 05 31 02 05 00");
}

TEST(DerList, ContentAndChildrenBothCountAndContentComesFirst) {
    const DerList list = Build({MakeNode(0, 0x03, {0}), MakeNode(1, 0x02, {5})});
    EXPECT_EQ(Outline(list), "0:03:4 1:02:1");
    EXPECT_EQ(FlattenToHex(list), "03 04 00 02 01 05");
}

TEST(DerList, LengthOf16777216IsWrittenInFourBytes) {
    const DerList list = Build({MakeNode(0, 0x04, Bytes(16777216))});
    Blob bytes;
    auto node = list.begin();
    WriteDerNode(node, &bytes);
    ASSERT_EQ(bytes.GetSize(), 16777222U);
    bytes.SetSize(7);
    EXPECT_EQ(outline::ToHex(bytes), "04 84 01 00 00 00 00");
}

TEST(DerList, LengthsAreWrittenMinimalAndMostSignificantFirst) {
    const auto header = [](std::size_t size) {
        DerList list = Build({MakeNode(0, 0x04, Bytes(size))});
        Blob bytes;
        auto node = list.begin();
        WriteDerNode(node, &bytes);
        bytes.SetSize(bytes.GetSize() - size);
        return outline::ToHex(bytes);
    };
    EXPECT_EQ(header(127), "04 7F");
    EXPECT_EQ(header(128), "04 81 80");
    EXPECT_EQ(header(255), "04 81 FF");
    EXPECT_EQ(header(256), "04 82 01 00");
    EXPECT_EQ(header(65535), "04 82 FF FF");
    EXPECT_EQ(header(65536), "04 83 01 00 00");
    EXPECT_EQ(header(16777215), "04 83 FF FF FF");
}

TEST(DerList, ThresholdsPassUpThroughAllAncestors) {
    // The child's length crosses 65535, whereby its own header and then its parent's length grow.
    DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x30), MakeNode(2, 0x04, Bytes(65531))});
    EXPECT_EQ(Outline(list), "0:30:65539 1:30:65535 2:04:65531");
    EXPECT_EQ(AppendDerNode(-1, MakeNode(2, 0x05), &list), 1);
    EXPECT_EQ(Outline(list), "0:30:65542 1:30:65537 2:04:65531 2:05:0");
}

TEST(DerList, AppendToNoListIsRefused) {
    EXPECT_EQ(AppendDerNode(-1, MakeNode(0, 0x30), nullptr), 0);
    EXPECT_EQ(ReinsertDerNode(-1, MakeNode(0, 0x30), nullptr), 0);
}

TEST(DerList, NegativeDepthIsRefused) {
    DerList list;
    EXPECT_EQ(AppendDerNode(-1, MakeNode(-1, 0x30), &list), 0);
    EXPECT_TRUE(list.empty());
    list = Build({MakeNode(0, 0x30)});
    EXPECT_EQ(AppendDerNode(-1, MakeNode(-1, 0x30), &list), 0);
    EXPECT_EQ(Outline(list), "0:30:0");
}

TEST(DerList, FirstNodeMustBeARoot) {
    DerList list;
    EXPECT_EQ(AppendDerNode(-1, MakeNode(1, 0x30), &list), 0);
    EXPECT_EQ(ReinsertDerNode(-1, MakeNode(1, 0x30), &list), 0);
    EXPECT_TRUE(list.empty());
}

TEST(DerList, PositionIsNotUsed) {
    DerList list;
    EXPECT_EQ(AppendDerNode(7, MakeNode(0, 0x30), &list), 1);
    EXPECT_EQ(AppendDerNode(0, MakeNode(1, 0x05), &list), 1);
    EXPECT_EQ(Outline(list), "0:30:2 1:05:0");
}

TEST(DerList, AppendResetsWhatTheParserFillsIn) {
    DerList list;
    EXPECT_EQ(AppendDerNode(-1, MakeReadNode(0, 0x04, {1, 2}), &list), 1);
    const DerNode& node = list.back();
    EXPECT_EQ(node.contentLength, 2U);
    EXPECT_EQ(node.indefinite, 0U);
    EXPECT_EQ(node.offset, 0U);
    EXPECT_EQ(node.scopeLength, 0U);
    EXPECT_EQ(node.scopeStart, 0U);
}

TEST(DerList, ReinsertKeepsAllButTheLength) {
    DerList list;
    EXPECT_EQ(ReinsertDerNode(-1, MakeReadNode(0, 0x04, {1, 2}), &list), 1);
    const DerNode& node = list.back();
    EXPECT_EQ(node.contentLength, 2U);
    EXPECT_EQ(node.indefinite, 1U);
    EXPECT_EQ(node.offset, 10U);
    EXPECT_EQ(node.scopeLength, 20U);
    EXPECT_EQ(node.scopeStart, 30U);
}

TEST(DerList, AppendAsReadKeepsAllAndChangesNoOtherNode) {
    DerList list = Build({MakeNode(0, 0x30)});
    EXPECT_TRUE(list.AppendAsRead(MakeReadNode(1, 0x04, {1, 2})));
    EXPECT_EQ(Outline(list), "0:30:0 1:04:99");
    EXPECT_EQ(list.back().offset, 10U);
    // From then on appends add to the lengths as they stand.
    EXPECT_EQ(AppendDerNode(-1, MakeNode(2, 0x05), &list), 1);
    EXPECT_EQ(Outline(list), "0:30:2 1:04:101 2:05:0");
}

TEST(DerList, AppendAsReadClosesTheNodesBesideIt) {
    DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x30), MakeNode(2, 0x05)});
    EXPECT_TRUE(list.AppendAsRead(MakeReadNode(1, 0x30, {})));
    EXPECT_EQ(Outline(list), "0:30:4 1:30:2 2:05:0 1:30:99");
    EXPECT_EQ(AppendDerNode(-1, MakeNode(2, 0x05), &list), 1);
    EXPECT_EQ(Outline(list), "0:30:6 1:30:2 2:05:0 1:30:101 2:05:0");
}

TEST(DerList, EveryMomentOfABuildFlattensToAWholeDocument) {
    DerList list;
    AppendDerNode(-1, MakeNode(0, 0x30), &list);
    EXPECT_EQ(FlattenToHex(list), "30 00");
    AppendDerNode(-1, MakeNode(1, 0x30), &list);
    EXPECT_EQ(FlattenToHex(list), "30 02 30 00");
    AppendDerNode(-1, MakeNode(2, 0x02, {5}), &list);
    EXPECT_EQ(FlattenToHex(list), "30 05 30 03 02 01 05");
    AppendDerNode(-1, MakeNode(1, 0x05), &list);
    EXPECT_EQ(FlattenToHex(list), "30 07 30 03 02 01 05 05 00");
}

TEST(DerList, LookingBackFromTheEndSeesAllLengths) {
    DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x30), MakeNode(2, 0x05)});
    auto node = list.end();
    EXPECT_EQ((--node)->contentLength, 0U);
    EXPECT_EQ((--node)->contentLength, 2U);
    EXPECT_EQ((--node)->contentLength, 4U);
}

TEST(DerList, CopyIsDeepAndGoesItsOwnWay) {
    DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x30), MakeNode(2, 0x02, {5})});
    DerList copy = list;
    EXPECT_EQ(AppendDerNode(-1, MakeNode(2, 0x05), &copy), 1);
    EXPECT_EQ(Outline(list), "0:30:5 1:30:3 2:02:1");
    EXPECT_EQ(Outline(copy), "0:30:7 1:30:5 2:02:1 2:05:0");
    EXPECT_EQ(AppendDerNode(-1, MakeNode(1, 0x05), &list), 1);
    EXPECT_EQ(Outline(list), "0:30:7 1:30:3 2:02:1 1:05:0");
    EXPECT_EQ(Outline(copy), "0:30:7 1:30:5 2:02:1 2:05:0");
}

TEST(DerList, MoveTakesTheNodesAndTheOpenScopes) {
    DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x30)});
    DerList taken = std::move(list);
    EXPECT_TRUE(list.empty());  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(AppendDerNode(-1, MakeNode(2, 0x05), &taken), 1);
    EXPECT_EQ(Outline(taken), "0:30:4 1:30:2 2:05:0");
    list = std::move(taken);
    EXPECT_EQ(Outline(list), "0:30:4 1:30:2 2:05:0");
    EXPECT_EQ(AppendDerNode(-1, MakeNode(0, 0x30), &taken), 1);  // NOLINT
    EXPECT_EQ(Outline(taken), "0:30:0");
}

TEST(DerList, ClearedListStartsAnew) {
    DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x30)});
    list.clear();
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.size(), 0U);
    EXPECT_EQ(AppendDerNode(-1, MakeNode(1, 0x05), &list), 0);
    EXPECT_EQ(AppendDerNode(-1, MakeNode(0, 0x05), &list), 1);
}

TEST(DerList, ClearedListHasNoHoldOnTheNodesItHad) {
    const std::vector<DerNode> nodes{MakeNode(0, 0x30), MakeNode(1, 0x30), MakeNode(2, 0x05)};
    DerList list = Build(nodes);
    list.clear();
    // Its nodes take the memory that has just been left.
    const DerList other = Build(nodes);
    EXPECT_EQ(Outline(other), "0:30:4 1:30:2 2:05:0");
    EXPECT_EQ(AppendDerNode(-1, MakeNode(0, 0x30), &list), 1);
    EXPECT_EQ(Outline(other), "0:30:4 1:30:2 2:05:0");
}

TEST(DerListReinsertAll, AddsUpLengthsFromContentAlone) {
    DerList list = outline::Parse("30 82 00 07 04 81 01 41 02 01 05");
    EXPECT_EQ(Outline(list), "0:30:7 1:04:1 1:02:1");
    list.ReinsertAll();
    EXPECT_EQ(Outline(list), "0:30:6 1:04:1 1:02:1");
    EXPECT_EQ(list.back().offset, 8U);
    list.clear();
    list.ReinsertAll();
    EXPECT_TRUE(list.empty());
}

TEST(DerListDropLast, TakesTheLastNodeOutOfAllItsAncestors) {
    DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x30), MakeNode(2, 0x04, Bytes(125)),
                          MakeNode(2, 0x02, {5})});
    EXPECT_EQ(Outline(list), "0:30:133 1:30:130 2:04:125 2:02:1");
    list.DropLast();
    EXPECT_EQ(Outline(list), "0:30:129 1:30:127 2:04:125");
    list.DropLast();
    EXPECT_EQ(Outline(list), "0:30:2 1:30:0");
    list.DropLast();
    EXPECT_EQ(Outline(list), "0:30:0");
}

TEST(DerListDropLast, GoesBackIntoTheSubtreeBefore) {
    DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x30), MakeNode(2, 0x30),
                          MakeNode(3, 0x02, {5}), MakeNode(1, 0x05)});
    list.DropLast();
    EXPECT_EQ(AppendDerNode(-1, MakeNode(3, 0x05), &list), 1);
    EXPECT_EQ(Outline(list), "0:30:9 1:30:7 2:30:5 3:02:1 3:05:0");
    list.DropLast();
    list.DropLast();
    EXPECT_EQ(Outline(list), "0:30:4 1:30:2 2:30:0");
}

TEST(DerListDropLast, OfOneNodeEmptiesAndOfNoneDoesNothing) {
    DerList list = Build({MakeNode(0, 0x30)});
    list.DropLast();
    EXPECT_TRUE(list.empty());
    list.DropLast();
    EXPECT_TRUE(list.empty());
}

TEST(DerListDropLast, GivesLengthsOfAParsedListAnew) {
    DerList list = outline::Parse("30 82 00 09 04 81 01 41 05 00 02 01 05");
    list.DropLast();
    EXPECT_EQ(Outline(list), "0:30:5 1:04:1 1:05:0");
    for (const DerNode& node : list) {
        EXPECT_EQ(node.offset, 0U);
        EXPECT_EQ(node.scopeLength, 0U);
        EXPECT_EQ(node.scopeStart, 0U);
    }
}

TEST(WriteDerNode, MovesToTheNextNode) {
    const DerList list = Build({MakeNode(0, 0x30), MakeNode(1, 0x02, {5})});
    Blob bytes;
    auto node = list.begin();
    WriteDerNode(node, &bytes);
    EXPECT_EQ(outline::ToHex(bytes), "30 03");
    EXPECT_EQ(node->tag, 0x02);
    WriteDerNode(node, &bytes);
    EXPECT_EQ(outline::ToHex(bytes), "30 03 02 01 05");
    EXPECT_EQ(node, list.end());
}

TEST(WriteDerNode, WithoutOutputStaysWhereItIs) {
    const DerList list = Build({MakeNode(0, 0x30)});
    auto node = list.begin();
    WriteDerNode(node, nullptr);
    EXPECT_EQ(node, list.begin());
}

}  // namespace
}  // namespace pkisdk
