#include "derlist/der_spans.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "platform/cryptoapi.h"
#include "support/der_outline.h"

namespace pkisdk {
namespace {

using outline::FromHex;
using outline::ToHex;

constexpr DWORD kBefore = 0xE0001234;
// SEQUENCE { 1.2.3.4, OCTET STRING { OCTET STRING } }
constexpr std::string_view kIdentified = "30 0C 06 03 2A 03 04 04 05 04 03 41 42 43";
constexpr const char* kIdentifier = "1.2.3.4";

Blob FromText(std::string_view text) {
    return Blob(text.data(), text.size());
}

DerSpans Read(std::string_view hex) {
    const auto bytes = FromHex(hex);
    DerSpans spans;
    EXPECT_TRUE(spans.Parse(Blob(bytes.data(), bytes.size())));
    return spans;
}

std::string Subtree(const DerSpans& spans, std::size_t index) {
    Blob bytes;
    EXPECT_TRUE(spans.Flatten(index, &bytes));
    return ToHex(bytes);
}

TEST(DerSpans, OpensWhatReadsAsElements) {
    const DerSpans spans = Read(kIdentified);
    ASSERT_EQ(spans.Nodes().size(), 4u);
    EXPECT_EQ(spans.Nodes()[2].tag, 0x04);
    EXPECT_EQ(spans.Nodes()[2].contentLength, 5u);
    EXPECT_TRUE(spans.Nodes()[2].content.empty());
    EXPECT_EQ(spans.Nodes()[3].depth, 2);
    EXPECT_EQ(spans.Nodes()[3].content.size(), 3u);
}

TEST(DerSpans, AddsLengthsUpAnewWhereOneWasIndefinite) {
    EXPECT_EQ(Subtree(Read("30 80 30 03 02 01 05 04 81 01 41"), 0),
              "30 08 30 03 02 01 05 04 01 41");
}

TEST(DerSpans, GivesASubtreeAndNothingPastTheEnd) {
    const DerSpans spans = Read(kIdentified);
    EXPECT_EQ(Subtree(spans, 2), "04 05 04 03 41 42 43");
    Blob bytes(1);
    EXPECT_FALSE(spans.Flatten(4, &bytes));
    EXPECT_EQ(ToHex(bytes), "00");
}

TEST(DerSpans, ReadsTextAndSetsTheLastErrorAsTheParserDoes) {
    DerSpans spans;
    SetLastError(kBefore);
    EXPECT_TRUE(spans.Parse(FromText("MAMCAQU=")));
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(Subtree(spans, 0), "30 03 02 01 05");
    // A header of text with nothing behind it: the bytes are taken as they are.
    SetLastError(kBefore);
    EXPECT_FALSE(spans.Parse(FromText("-----BEGIN PKCS12-----")));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA));
}

TEST(DerSpans, ReplacesWhatWasReadBefore) {
    DerSpans spans = Read(kIdentified);
    EXPECT_TRUE(spans.Parse(Blob()));
    EXPECT_TRUE(spans.Nodes().empty());
}

TEST(DerSpans, FindsTheHolderOfAnIdentifierAlsoIntoItself) {
    DerSpans spans = Read("30 0E 30 0C 06 03 2A 03 04 04 05 04 03 41 42 43");
    DerSpans found;
    ASSERT_TRUE(spans.FindByOid(kIdentifier, &found));
    EXPECT_EQ(Subtree(found, 0), kIdentified);
    ASSERT_TRUE(spans.FindByOid(kIdentifier, &spans));
    EXPECT_EQ(Subtree(spans, 0), kIdentified);
    EXPECT_FALSE(spans.FindByOid("1.2.3.5", &found));
    EXPECT_FALSE(spans.FindByOid("no identifier", &found));
}

std::string InStructure(std::string_view hex, const char* oid, std::size_t index) {
    Blob bytes;
    return Read(hex).FlattenInStructure(oid, index, &bytes) ? ToHex(bytes) : "nothing";
}

TEST(DerSpans, GivesASubtreeOfTheHolderOfAnIdentifier) {
    constexpr std::string_view kInside = "30 0E 30 0C 06 03 2A 03 04 04 05 04 03 41 42 43";
    EXPECT_EQ(InStructure(kInside, kIdentifier, 0), kIdentified);
    EXPECT_EQ(InStructure(kInside, kIdentifier, 3), "04 03 41 42 43");
    EXPECT_EQ(InStructure(kInside, kIdentifier, 4), "nothing");
    EXPECT_EQ(InStructure(kInside, "1.2.3.5", 0), "nothing");
}

TEST(DerSpans, GivesASubtreeOfAHolderThatIsWrittenOtherwiseThanItStands) {
    // A length in two octets; an indefinite length; a zero that is passed over but counted, so that
    // what is written has a length beyond its end.
    EXPECT_EQ(InStructure("30 0F 30 81 0C 06 03 2A 03 04 04 05 04 03 41 42 43", kIdentifier, 0),
              kIdentified);
    EXPECT_EQ(InStructure("30 80 06 03 2A 03 04 04 05 04 03 41 42 43", kIdentifier, 0),
              kIdentified);
    EXPECT_EQ(InStructure("30 0A 30 08 00 06 03 2A 03 04 05 00", kIdentifier, 0), "nothing");
}

TEST(DerSpans, GivesASubtreeOfAHolderThatReadsOtherwiseOnceWritten) {
    // Four zeros count in the holder's 11 octets, so that the OCTET STRING behind it fills it up.
    // Written one node behind the other, the last element ends past the holder, which is then a
    // leaf.
    constexpr std::string_view kAcrossZeros =
        "30 12 30 0B 00 00 00 00 06 03 2A 03 04 05 00 04 03 00 05 00";
    // The same by a length in two octets and the zero that a BIT STRING gets.
    constexpr std::string_view kLongLength = "30 0C 06 03 2A 03 04 03 81 04 05 00 05 00";
    EXPECT_EQ(InStructure(kAcrossZeros, kIdentifier, 0), "30 0B 06 03 2A 03 04 05 00 04 03 05 00");
    EXPECT_EQ(InStructure(kAcrossZeros, kIdentifier, 1), "nothing");
    EXPECT_EQ(InStructure(kLongLength, kIdentifier, 0),
              "30 0C 06 03 2A 03 04 03 04 00 05 00 05 00");
    EXPECT_EQ(InStructure(kLongLength, kIdentifier, 1), "nothing");
}

TEST(DerSpans, RefusesANodeWithoutAParent) {
    const auto node = [](std::int32_t depth) {
        DerNode made;
        made.depth = depth;
        return made;
    };
    DerSpans spans;
    EXPECT_FALSE(spans.AppendAsRead(node(1), {}));
    EXPECT_TRUE(spans.AppendAsRead(node(0), {}));
    EXPECT_FALSE(spans.AppendAsRead(node(2), {}));
    EXPECT_TRUE(spans.AppendAsRead(node(1), {}));
    EXPECT_EQ(spans.Nodes().size(), 2u);
}

TEST(DerSpans, IsWholeAfterAMove) {
    DerSpans spans = Read(kIdentified);
    const DerSpans moved(std::move(spans));
    EXPECT_EQ(Subtree(moved, 0), kIdentified);
}

}  // namespace
}  // namespace pkisdk
