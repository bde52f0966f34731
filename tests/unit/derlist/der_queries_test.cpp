#include "derlist/der_queries.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "support/der_outline.h"

namespace pkisdk {
namespace {

using outline::FlattenToHex;
using outline::FromHex;
using outline::MakeNode;
using outline::Outline;
using outline::Parse;
using outline::ToHex;

constexpr std::string_view kIdentified = "30 0A 06 03 2A 03 04 04 03 41 42 43";
constexpr const char* kIdentifier = "1.2.3.4";  // 2A 03 04

std::string Subtree(const DerList& list, std::int32_t index) {
    Blob bytes;
    EXPECT_EQ(ExtractSubtree(list, index, &bytes), 1);
    return ToHex(bytes);
}

TEST(ExtractSubtree, AtZeroIsTheDocumentInNormalForm) {
    EXPECT_EQ(Subtree(Parse("30 80 04 81 01 41 02 01 05"), 0), "30 06 04 01 41 02 01 05");
    EXPECT_EQ(Subtree(Parse("30 03 02 01 05 00 00"), 0), "30 03 02 01 05");
}

TEST(ExtractSubtree, AtTheSizeOfTheListAnswersZero) {
    const DerList list = Parse(kIdentified);
    Blob bytes(1);
    EXPECT_EQ(ExtractSubtree(list, 3, &bytes), 0);
    EXPECT_EQ(ExtractSubtree(list, 300, &bytes), 0);
    EXPECT_EQ(ExtractSubtree(DerList(), 0, &bytes), 0);
    EXPECT_EQ(ToHex(bytes), "00");
}

TEST(ExtractSubtree, BelowZeroIsTheFirstNode) {
    const DerList list = Parse(kIdentified);
    EXPECT_EQ(Subtree(list, -1), kIdentified);
    EXPECT_EQ(Subtree(list, -2147483647 - 1), kIdentified);
}

TEST(ExtractSubtree, OfALeafIsItsHeaderAndContent) {
    const DerList list = Parse(kIdentified);
    EXPECT_EQ(Subtree(list, 1), "06 03 2A 03 04");
    EXPECT_EQ(Subtree(list, 2), "04 03 41 42 43");
}

TEST(ExtractSubtree, EndsAtTheFirstNodeThatIsNotDeeper) {
    const DerList list = Parse("30 0B 30 05 30 03 02 01 05 30 02 05 00");
    EXPECT_EQ(Subtree(list, 1), "30 05 30 03 02 01 05");
    EXPECT_EQ(Subtree(list, 2), "30 03 02 01 05");
    EXPECT_EQ(Subtree(list, 4), "30 02 05 00");
}

TEST(ExtractSubtree, WithoutOutputAnswersZero) {
    EXPECT_EQ(ExtractSubtree(Parse(kIdentified), 0, nullptr), 0);
}

TEST(ExtractSubtreeAsList, NumbersDepthsAnew) {
    DerList out;
    EXPECT_EQ(ExtractSubtreeAsList(Parse("30 0B 30 05 30 03 02 01 05 30 02 05 00"), 1, &out), 1);
    EXPECT_EQ(Outline(out), "0:30:5 1:30:3 2:02:1");
    EXPECT_EQ(std::next(out.begin())->offset, 2U);
}

TEST(ExtractSubtreeAsList, ShowsMoreStructureThanABuiltList) {
    DerList list;
    list.Append(MakeNode(0, 0x30));
    list.Append(MakeNode(1, 0x04, FromHex("02 01 05")));
    DerList out;
    EXPECT_EQ(ExtractSubtreeAsList(list, 1, &out), 1);
    EXPECT_EQ(Outline(out), "0:04:3 1:02:1");
}

TEST(ExtractSubtreeAsList, AnswersZeroWhereThereIsNothing) {
    DerList out = Parse("05 00");
    EXPECT_EQ(ExtractSubtreeAsList(Parse(kIdentified), 3, &out), 0);
    EXPECT_EQ(Outline(out), "0:05:0");
    EXPECT_EQ(ExtractSubtreeAsList(Parse(kIdentified), 0, nullptr), 0);
}

TEST(FindByOid, GivesTheStructureThatHoldsTheIdentifier) {
    const DerList list = Parse(kIdentified);
    DerList out;
    EXPECT_EQ(FindByOid(&list, kIdentifier, &out), 1);
    EXPECT_EQ(Outline(out), "0:30:10 1:06:3 1:04:3");
    EXPECT_EQ(FlattenToHex(out), kIdentified);
}

TEST(FindByOid, AnswersZeroForAnyOtherIdentifier) {
    const DerList list = Parse(kIdentified);
    DerList out = Parse("05 00");
    for (const char* other : {"1.2.3", "1.2.3.5", "1.2.3.4.0", "2.5.4.3", "1."}) {
        EXPECT_EQ(FindByOid(&list, other, &out), 0) << other;
    }
    EXPECT_EQ(Outline(out), "0:05:0");
}

TEST(FindByOid, RootIdentifierIsItsOwnStructure) {
    const DerList list = Parse("06 03 2A 03 04");
    DerList out;
    EXPECT_EQ(FindByOid(&list, kIdentifier, &out), 1);
    EXPECT_EQ(FlattenToHex(out), "06 03 2A 03 04");
}

TEST(FindByOid, PassesOverDeeperNodesOfEarlierSiblings) {
    // The identifier at depth 3 follows siblings whose children lie at depths 4 and 5.
    const DerList list = Parse("30 13 30 11 30 0D 30 06 30 04 02 02 01 00 06 03 2A 03 04 05 00");
    ASSERT_EQ(Outline(list), "0:30:19 1:30:17 2:30:13 3:30:6 4:30:4 5:02:2 3:06:3 2:05:0");
    DerList out;
    EXPECT_EQ(FindByOid(&list, kIdentifier, &out), 1);
    EXPECT_EQ(FlattenToHex(out), "30 0D 30 06 30 04 02 02 01 00 06 03 2A 03 04");
}

TEST(FindByOid, WithoutOutputOnlyAnswers) {
    const DerList list = Parse(kIdentified);
    EXPECT_EQ(FindByOid(&list, kIdentifier, nullptr), 1);
    EXPECT_EQ(FindByOid(&list, "1.2", nullptr), 0);
}

TEST(FindByOid, SeesOnlyTagSix) {
    const DerList list = Parse("30 0A 86 03 2A 03 04 04 03 2A 03 04");
    EXPECT_EQ(FindByOid(&list, kIdentifier, nullptr), 0);
}

TEST(FindByOid, RefusesNullsAndBadText) {
    const DerList list = Parse(kIdentified);
    EXPECT_EQ(FindByOid(nullptr, kIdentifier, nullptr), 0);
    EXPECT_EQ(FindByOid(&list, nullptr, nullptr), 0);
    EXPECT_EQ(FindByOid(&list, "3.1", nullptr), 0);
    EXPECT_EQ(FindByOid(&list, "", nullptr), 0);
}

TEST(FindByOid, MayReplaceTheListItSearches) {
    DerList list = Parse("30 0C 30 0A 06 03 2A 03 04 04 03 41 42 43");
    EXPECT_EQ(FindByOid(&list, kIdentifier, &list), 1);
    EXPECT_EQ(FlattenToHex(list), kIdentified);
}

// Three structures with the identifier, numbered by an INTEGER each.
DerList Three() {
    return Parse(
        "30 1E 30 08 06 03 2A 03 04 02 01 01 30 08 06 03 2A 03 04 02 01 02 "
        "30 08 06 03 2A 03 04 02 01 03");
}

TEST(FindNthByOid, CountsMatchesFromOne) {
    DerList list = Three();
    DerList out;
    EXPECT_EQ(FindNthByOid(&list, kIdentifier, 1, &out), 1);
    EXPECT_EQ(FlattenToHex(out), "30 08 06 03 2A 03 04 02 01 01");
    EXPECT_EQ(FindNthByOid(&list, kIdentifier, 3, &out), 1);
    EXPECT_EQ(FlattenToHex(out), "30 08 06 03 2A 03 04 02 01 03");
    EXPECT_EQ(FindNthByOid(&list, kIdentifier, 4, &out), 0);
    EXPECT_EQ(FindNthByOid(&list, kIdentifier, 0xFFFFFFFF, &out), 0);
}

TEST(FindNthByOid, SecondOfASingleMatchAnswersZero) {
    DerList list = Parse(kIdentified);
    EXPECT_EQ(FindNthByOid(&list, kIdentifier, 1, nullptr), 1);
    EXPECT_EQ(FindNthByOid(&list, kIdentifier, 2, nullptr), 0);
}

TEST(FindNthByOid, OccurrenceZeroNeverMatches) {
    DerList list = Parse(kIdentified);
    EXPECT_EQ(FindNthByOid(&list, kIdentifier, 0, nullptr), 0);
}

TEST(FindNthByOid, RefusesNullsAndBadText) {
    DerList list = Parse(kIdentified);
    EXPECT_EQ(FindNthByOid(nullptr, kIdentifier, 1, nullptr), 0);
    EXPECT_EQ(FindNthByOid(&list, nullptr, 1, nullptr), 0);
    EXPECT_EQ(FindNthByOid(&list, "1.40", 1, nullptr), 0);
}

TEST(OidMatchCursor, YieldsWhatRepeatedFindNthByOidGives) {
    DerList list = Three();
    OidMatchCursor cursor(list, kIdentifier);
    for (std::uint32_t occurrence = 1; occurrence <= 3; ++occurrence) {
        DerList expected;
        DerList found;
        ASSERT_EQ(FindNthByOid(&list, kIdentifier, occurrence, &expected), 1);
        ASSERT_TRUE(cursor.MoveNext());
        EXPECT_EQ(cursor.GetStructure(&found), 1);
        EXPECT_EQ(cursor.GetStructure(nullptr), 1);
        EXPECT_EQ(FlattenToHex(found), FlattenToHex(expected));
    }
    EXPECT_FALSE(cursor.MoveNext());
    EXPECT_FALSE(cursor.MoveNext());
}

TEST(OidMatchCursor, MatchesNothingForBadText) {
    const DerList list = Parse(kIdentified);
    EXPECT_FALSE(OidMatchCursor(list, nullptr).MoveNext());
    EXPECT_FALSE(OidMatchCursor(list, "1.x").MoveNext());
}

TEST(GetFirstOidText, IsThatOfTheFirstIdentifier) {
    const DerList list = Parse("30 0C 04 01 41 06 03 2A 03 04 06 02 55 04");
    std::string text;
    EXPECT_EQ(GetFirstOidText(&list, &text), 1);
    EXPECT_EQ(text, "1.2.3.4");
}

TEST(GetFirstOidText, AnswersZeroWithoutIdentifierOrText) {
    const DerList none = Parse("30 03 02 01 05");
    std::string text = "untouched";
    EXPECT_EQ(GetFirstOidText(&none, &text), 0);
    // The first identifier counts, though a later one has a text.
    const DerList bad = Parse("30 08 06 01 78 06 03 2A 03 04");
    EXPECT_EQ(GetFirstOidText(&bad, &text), 0);
    EXPECT_EQ(text, "untouched");
    EXPECT_EQ(GetFirstOidText(nullptr, &text), 0);
    const DerList good = Parse(kIdentified);
    EXPECT_EQ(GetFirstOidText(&good, nullptr), 0);
}

TEST(AppendDerList, AsChildOfAnEmptyTargetIsACopyAtItsOwnDepths) {
    const DerList source = Parse("30 05 30 03 02 01 05");
    for (const std::uint32_t mode : {DER_APPEND_AS_CHILD, DER_APPEND_AS_SIBLING, 9U}) {
        DerList target;
        EXPECT_EQ(AppendDerList(&target, &source, mode), 1);
        EXPECT_EQ(Outline(target), "0:30:5 1:30:3 2:02:1");
    }
}

TEST(AppendDerList, AsChildGoesUnderTheLastNode) {
    DerList target = Parse("30 02 30 00");
    const DerList source = Parse("30 03 02 01 05");
    EXPECT_EQ(AppendDerList(&target, &source, DER_APPEND_AS_CHILD), 1);
    EXPECT_EQ(Outline(target), "0:30:7 1:30:5 2:30:3 3:02:1");
}

TEST(AppendDerList, AsSiblingGoesBesideTheLastNode) {
    DerList target = Parse("30 02 30 00");
    const DerList source = Parse("30 03 02 01 05");
    EXPECT_EQ(AppendDerList(&target, &source, DER_APPEND_AS_SIBLING), 1);
    EXPECT_EQ(Outline(target), "0:30:7 1:30:0 1:30:3 2:02:1");
}

TEST(AppendDerList, OtherModesAreTheDepthOfTheRoot) {
    DerList target = Parse("30 04 30 02 30 00");
    const DerList source = Parse("30 03 02 01 05");
    EXPECT_EQ(AppendDerList(&target, &source, 1), 1);
    EXPECT_EQ(Outline(target), "0:30:9 1:30:2 2:30:0 1:30:3 2:02:1");
    EXPECT_EQ(AppendDerList(&target, &source, 0), 1);
    EXPECT_EQ(Outline(target), "0:30:9 1:30:2 2:30:0 1:30:3 2:02:1 0:30:3 1:02:1");
    EXPECT_EQ(AppendDerList(&target, &source, 0x80000000), 0);
}

TEST(AppendDerList, TwoLevelsTooDeepFailsAtTheFirstNode) {
    DerList target;
    for (std::int32_t depth = 0; depth <= 7; ++depth) {
        target.Append(MakeNode(depth, 0x30));
    }
    const std::string before = Outline(target);
    const DerList source = Parse("30 03 02 01 05");
    EXPECT_EQ(AppendDerList(&target, &source, 9), 0);
    EXPECT_EQ(Outline(target), before);
}

TEST(AppendDerList, CountsLengthsAnew) {
    DerList target = Parse("30 00");
    const DerList source = Parse("30 81 04 04 81 01 41");
    EXPECT_EQ(Outline(source), "0:30:4 1:04:1");
    EXPECT_EQ(AppendDerList(&target, &source, DER_APPEND_AS_CHILD), 1);
    EXPECT_EQ(Outline(target), "0:30:5 1:30:3 2:04:1");
}

TEST(AppendDerList, EmptySourceAnswersOne) {
    DerList target = Parse("30 00");
    const DerList source;
    EXPECT_EQ(AppendDerList(&target, &source, 9), 1);
    EXPECT_EQ(Outline(target), "0:30:0");
}

TEST(AppendDerList, ListCanBeAppendedToItself) {
    DerList list = Parse("30 03 02 01 05");
    EXPECT_EQ(AppendDerList(&list, &list, 1), 1);
    EXPECT_EQ(Outline(list), "0:30:8 1:02:1 1:30:3 2:02:1");
}

TEST(AppendDerList, NullsAnswerZero) {
    DerList list = Parse("30 00");
    EXPECT_EQ(AppendDerList(nullptr, &list, 0), 0);
    EXPECT_EQ(AppendDerList(&list, nullptr, 0), 0);
}

TEST(AppendDerBytes, AppendsWhatTheBytesParseTo) {
    DerList target = Parse("30 00");
    const outline::Bytes bytes = FromHex("04 05 30 03 02 01 05");
    EXPECT_EQ(AppendDerBytes(&target, bytes.data(), 7, DER_APPEND_AS_CHILD), 1);
    EXPECT_EQ(Outline(target), "0:30:7 1:04:5 2:30:3 3:02:1");
}

TEST(AppendDerBytes, LeavesTheTargetAloneWhenTheyDoNotParse) {
    DerList target = Parse("30 00");
    const outline::Bytes bytes = FromHex("30 03 02 01 05 FF FF");
    EXPECT_EQ(AppendDerBytes(&target, bytes.data(), 7, DER_APPEND_AS_CHILD), 0);
    EXPECT_EQ(Outline(target), "0:30:0");
    EXPECT_EQ(AppendDerBytes(&target, bytes.data(), 0, DER_APPEND_AS_CHILD), 1);
    EXPECT_EQ(AppendDerBytes(nullptr, bytes.data(), 5, DER_APPEND_AS_CHILD), 0);
}

}  // namespace
}  // namespace pkisdk
