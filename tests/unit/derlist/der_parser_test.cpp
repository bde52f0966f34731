#include "derlist/der_parser.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/cryptoapi.h"
#include "support/der_outline.h"
#include "support/document_generator.h"

namespace pkisdk {
namespace {

using outline::Bytes;
using outline::FlattenToHex;
using outline::FromHex;
using outline::Outline;
using outline::Parse;
using outline::ToHex;

struct Result {
    std::int32_t answer;
    DerList list;
};

Result TryBytes(const Bytes& bytes) {
    Result result{-1, {}};
    // Something is there to be replaced.
    result.list.Append(outline::MakeNode(0, 0x0C, {1}));
    result.answer =
        ParseDerList(bytes.data(), static_cast<std::int32_t>(bytes.size()), &result.list);
    return result;
}

Result Try(std::string_view hex) {
    return TryBytes(FromHex(hex));
}

Bytes FromText(std::string_view text) {
    return {text.begin(), text.end()};
}

const DerNode& At(const DerList& list, std::ptrdiff_t index) {
    return *std::next(list.begin(), index);
}

void ExpectParses(std::string_view hex, const std::string& outline) {
    const Result result = Try(hex);
    EXPECT_EQ(result.answer, 1) << hex;
    EXPECT_EQ(Outline(result.list), outline) << hex;
}

void ExpectRefused(std::string_view hex, const std::string& outline) {
    const Result result = Try(hex);
    EXPECT_EQ(result.answer, 0) << hex;
    EXPECT_EQ(Outline(result.list), outline) << hex;
}

TEST(DerParser, SequenceOfTwoLeaves) {
    ExpectParses("30 06 02 01 05 04 01 41", "0:30:6 1:02:1 1:04:1");
}

TEST(DerParser, OctetStringThatTilesIsOpened) {
    const DerList list = Parse("30 09 04 07 30 05 02 01 05 05 00");
    EXPECT_EQ(Outline(list), "0:30:9 1:04:7 2:30:5 3:02:1 3:05:0");
    EXPECT_TRUE(At(list, 1).content.IsEmpty());
}

TEST(DerParser, BitStringKeepsOneZeroByte) {
    const DerList list = Parse("03 08 00 30 05 02 01 05 05 00");
    EXPECT_EQ(Outline(list), "0:03:8 1:30:5 2:02:1 2:05:0");
    EXPECT_EQ(ToHex(At(list, 0).content), "00");
    EXPECT_EQ(FlattenToHex(list), "03 08 00 30 05 02 01 05 05 00");
}

TEST(DerParser, BitStringOfTwoBytesThatTilesHasEmptyContent) {
    const DerList list = Parse("03 02 05 00");
    EXPECT_EQ(Outline(list), "0:03:2 1:05:0");
    EXPECT_TRUE(At(list, 0).content.IsEmpty());
}

TEST(DerParser, BitStringGetsItsZeroByteThoughTheDocumentHasNone) {
    const DerList list = Parse("03 04 05 00 05 00");
    EXPECT_EQ(Outline(list), "0:03:4 1:05:0 1:05:0");
    EXPECT_EQ(ToHex(At(list, 0).content), "00");
    EXPECT_EQ(FlattenToHex(list), "03 04 00 05 00 05 00");
}

TEST(DerParser, OctetStringOfTextStaysALeaf) {
    const DerList list = Parse("04 03 41 42 43");
    EXPECT_EQ(Outline(list), "0:04:3");
    EXPECT_EQ(ToHex(At(list, 0).content), "41 42 43");
}

TEST(DerParser, SequenceOfAConstructedOctetStringStaysALeaf) {
    const DerList list = Parse("30 06 24 04 04 02 41 42");
    EXPECT_EQ(Outline(list), "0:30:6");
    EXPECT_EQ(ToHex(At(list, 0).content), "24 04 04 02 41 42");
}

TEST(DerParser, ConstructedOctetStringAtTheTopIsOpened) {
    ExpectParses("24 06 04 01 41 04 01 42", "0:24:6 1:04:1 1:04:1");
}

TEST(DerParser, PrimitiveContextValueThatTilesIsOpened) {
    ExpectParses("80 05 04 03 41 42 43", "0:80:5 1:04:3");
}

TEST(DerParser, EmptySequenceIsALeaf) {
    ExpectParses("30 00", "0:30:0");
}

TEST(DerParser, NullWithALengthIsRefused) {
    ExpectRefused("05 01 41", "");
    ExpectParses("05 00", "0:05:0");
}

TEST(DerParser, NullWithALengthLeavesTheNodesBefore) {
    ExpectRefused("30 06 02 01 05 05 01 41", "0:30:6 1:02:1");
}

TEST(DerParser, IndefiniteLengthWithItsEndMarkerIsOneLeaf) {
    const DerList list = Parse("30 80 02 01 05 00 00");
    EXPECT_EQ(Outline(list), "0:30:5");
    EXPECT_EQ(At(list, 0).indefinite, 1U);
    EXPECT_EQ(ToHex(At(list, 0).content), "02 01 05 00 00");
}

TEST(DerParser, IndefiniteLengthWithoutEndMarkerIsOpenedAndCountedAnew) {
    const DerList list = Parse("30 80 04 81 01 41 02 01 05");
    EXPECT_EQ(Outline(list), "0:30:6 1:04:1 1:02:1");
    EXPECT_EQ(At(list, 0).indefinite, 1U);
    EXPECT_EQ(At(list, 2).offset, 6U);
    EXPECT_EQ(FlattenToHex(list), "30 06 04 01 41 02 01 05");
}

TEST(DerParser, SecondElementAtTheTopBecomesAChildOfTheFirst) {
    ExpectParses("30 03 02 01 05 30 03 02 01 06", "0:30:3 1:02:1 1:30:3 2:02:1");
    ExpectParses("04 01 41 02 01 05", "0:04:1 1:02:1");
}

TEST(DerParser, ZerosBehindAndInFrontArePassed) {
    ExpectParses("30 03 02 01 05 00 00 00", "0:30:3 1:02:1");
    const DerList list = Parse("00 00 30 03 02 01 05");
    EXPECT_EQ(Outline(list), "0:30:3 1:02:1");
    EXPECT_EQ(At(list, 0).offset, 2U);
    EXPECT_EQ(At(list, 1).offset, 4U);
    EXPECT_EQ(Outline(Parse("00 30 03 02 01 05")), "0:30:3 1:02:1");
}

TEST(DerParser, ZerosBetweenElementsArePassedAtTheTopLevel) {
    const DerList list = Parse("30 03 02 01 05 00 00 00 04 01 41");
    EXPECT_EQ(Outline(list), "0:30:3 1:02:1 1:04:1");
    EXPECT_EQ(At(list, 2).offset, 8U);
    EXPECT_EQ(FlattenToHex(list), "30 03 02 01 05 04 01 41");
}

TEST(DerParser, LengthOctetFrom85UpIsTheLength) {
    Bytes bytes = FromHex("04 85");
    bytes.resize(2 + 133, 0x41);
    const Result result = TryBytes(bytes);
    EXPECT_EQ(result.answer, 1);
    EXPECT_EQ(Outline(result.list), "0:04:133");
}

TEST(DerParser, LongFormOfFiveOctetsIsNone) {
    // 0x85 is a length of 133, which the document hasn't.
    ExpectRefused("04 85 00 00 00 00 01 41", "");
}

TEST(DerParser, HighTagNumberIsOneOctet) {
    ExpectRefused("1F 21 01 41", "");
}

TEST(DerParser, ValuePastItsScopeIsRefused) {
    ExpectRefused("30 05 02 03 41", "");
}

// Length octets and value add up to 0xFFFFFFFF, which stands for the indefinite form elsewhere.
TEST(DerParser, LengthThatAddsUpToTheIndefiniteSignIsRefused) {
    ExpectRefused("30 84 FF FF FF FA 02 01 05", "");
}

TEST(DerParser, OnlyZerosAreAnEmptyList) {
    ExpectParses("00 00", "");
    ExpectParses("00 00 00 00", "");
    ExpectRefused("00", "");
}

TEST(DerParser, NonMinimalLengthLeavesItsParentOpen) {
    ExpectParses("30 0F 30 0A 04 81 01 41 04 04 FF FF FF FF 02 01 05",
                 "0:30:15 1:30:10 2:04:1 2:04:4 2:02:1");
}

TEST(DerParser, IdentifierAtTheEndOfItsScopeStandsAlone) {
    ExpectParses("30 08 30 04 04 81 01 41 02 00", "0:30:8 1:30:4 2:04:1 2:02:0");
}

TEST(DerParser, HeaderLongerThanItsScopeLeavesNoRoomForALength) {
    // Distances count from the identifier before: that of the child is already at the scope's end.
    ExpectParses("30 82 00 04 04 81 01 41", "0:30:4 1:04:0 1:81:1");
}

TEST(DerParser, BitStringWithUnusedBitsStaysALeaf) {
    ExpectParses("03 04 07 02 01 05", "0:03:4");
}

TEST(DerParser, FullBitStringClosesWithItsUnusedBitsByte) {
    ExpectParses("30 0A 30 06 03 04 00 02 01 05 05 00", "0:30:10 1:30:6 2:03:4 3:02:1 1:05:0");
}

TEST(DerParser, PlainBytesThatTileFlattenBack) {
    const DerList list = Parse("30 04 04 02 05 00");
    EXPECT_EQ(Outline(list), "0:30:4 1:04:2 2:05:0");
    EXPECT_EQ(FlattenToHex(list), "30 04 04 02 05 00");
}

TEST(DerParser, OtherUniversalPrimitivesAreNotOpened) {
    ExpectParses("0C 02 05 00", "0:0C:2");
    ExpectParses("1F 02 05 00", "0:1F:2");
    ExpectParses("20 02 05 00", "0:20:2 1:05:0");
    ExpectParses("C0 02 05 00", "0:C0:2 1:05:0");
}

TEST(DerParser, ScopeIsThatOfTheMomentOfReading) {
    const DerList list = Parse("30 09 30 03 02 01 05 30 02 05 00");
    EXPECT_EQ(Outline(list), "0:30:9 1:30:3 2:02:1 1:30:2 2:05:0");
    EXPECT_EQ(At(list, 0).scopeLength, 11U);
    EXPECT_EQ(At(list, 0).scopeStart, 0U);
    EXPECT_EQ(At(list, 1).scopeLength, 9U);
    EXPECT_EQ(At(list, 2).scopeLength, 3U);
    EXPECT_EQ(At(list, 2).scopeStart, 2U);
    // Behind a full scope the root answers with the scope around itself.
    EXPECT_EQ(At(list, 3).scopeLength, 11U);
    EXPECT_EQ(At(list, 3).scopeStart, 0U);
    EXPECT_EQ(At(list, 4).scopeLength, 2U);
    EXPECT_EQ(At(list, 4).scopeStart, 7U);
}

TEST(DerParser, TextFormsGiveTheSameNodes) {
    for (const std::string_view text : {"MAMCAQU=", "MAMCAQU", "MAMC\r\nAQU=\r\n",
                                        "-----BEGIN PFX-----\nMAMCAQU=\n-----END PFX-----\n"}) {
        const Result result = TryBytes(FromText(text));
        EXPECT_EQ(result.answer, 1) << text;
        EXPECT_EQ(Outline(result.list), "0:30:3 1:02:1") << text;
    }
}

TEST(DerParser, BinaryThatIsAllBase64CharactersIsDecodedAsText) {
    // As bytes: 30 42, a value of 66 bytes. As text: "0BAA...", D0 10 00 ...
    Bytes bytes = FromHex("30 42");
    bytes.resize(2 + 66, 0x41);
    const Result result = TryBytes(bytes);
    EXPECT_EQ(result.answer, 1);
    EXPECT_EQ(Outline(result.list).substr(0, 7), "0:D0:16");
}

TEST(DerParser, BadTextIsReadAsBytes) {
    // A line of dashes: 2D 2D is an element of 45 bytes.
    Bytes bytes(47, 0x2D);
    const Result result = TryBytes(bytes);
    EXPECT_EQ(result.answer, 1);
    EXPECT_EQ(Outline(result.list), "0:2D:45");
    EXPECT_EQ(GetLastError(), 0x80090005U);
}

TEST(DerParser, TextOfNoByteIsAnEmptyList) {
    const Result result = TryBytes(FromText("A"));
    EXPECT_EQ(result.answer, 1);
    EXPECT_TRUE(result.list.empty());
}

TEST(DerParser, LastErrorIsThatOfTheArmour) {
    SetLastError(7);
    EXPECT_EQ(Try("30 03 02 01 05").answer, 1);
    EXPECT_EQ(GetLastError(), 0U);
    SetLastError(7);
    EXPECT_EQ(Try("05 01 41").answer, 0);
    EXPECT_EQ(GetLastError(), 0U);
}

TEST(DerParser, NoOutputIsRefused) {
    const Bytes bytes = FromHex("05 00");
    EXPECT_EQ(ParseDerList(bytes.data(), 2, nullptr), 0);
}

TEST(DerParser, SizeZeroIsAnEmptyListWhateverTheDataIs) {
    DerList list = Parse("05 00");
    EXPECT_EQ(ParseDerList(nullptr, 0, &list), 1);
    EXPECT_TRUE(list.empty());
}

TEST(DerParser, RefusedHeaderLeavesTheNodesBeforeWithLengthsAsRead) {
    // The indefinite length would be counted anew if the parse went on to its end.
    ExpectRefused("30 80 04 81 01 41 05 01 41", "0:30:7 1:04:1");
    ExpectRefused("30 09 04 81 01 41 02 01 05 05 00 FF", "0:30:9 1:04:1 1:02:1 1:05:0");
}

TEST(DerParser, ValuePastTheEndOfTheDocumentIsRefused) {
    EXPECT_EQ(Try("02 01 05 04 04 41").answer, 0);
    EXPECT_EQ(Try("04 04 41 42").answer, 0);
    EXPECT_EQ(Try("30 04 05 00").answer, 0);
}

TEST(DerParser, TrailingBytesThatAreNoElementAreRefused) {
    ExpectRefused("30 03 02 01 05 FF FF", "0:30:3 1:02:1");
    ExpectRefused("30 03 02 01 05 41", "0:30:3 1:02:1");
}

TEST(DerParser, FourGigabyteLengthsInTwentyBytesAreRefused) {
    for (const std::string_view header :
         {"30 84 FF FF FF FF", "04 84 FF FF FF FF", "03 84 FF FF FF FB", "30 84 80 00 00 00",
          "04 84 FF FF FF FC", "A0 84 7F FF FF FF", "30 84 FF FF FF FA"}) {
        Bytes bytes = FromHex(header);
        bytes.resize(20, 0x41);
        EXPECT_EQ(TryBytes(bytes).answer, 0) << header;
        Bytes nested = FromHex("30 12");
        nested.insert(nested.end(), bytes.begin(), bytes.begin() + 18);
        // Does not read as a run of elements, and so is a leaf with these bytes in it.
        EXPECT_EQ(TryBytes(nested).answer, 1) << header;
        EXPECT_EQ(Outline(TryBytes(nested).list), "0:30:18") << header;
    }
}

TEST(DerParser, ReplacesTheListWhoseBytesItReads) {
    DerList list;
    list.Append(outline::MakeNode(0, 0x04, FromHex("30 03 02 01 05")));
    const Blob& bytes = list.back().content;
    EXPECT_EQ(ParseDerList(bytes.GetData(), 5, &list), 1);
    EXPECT_EQ(Outline(list), "0:30:3 1:02:1");
}

TEST(DerParser, RealDocumentsFlattenBackToTheirBytes) {
    for (const auto& document : documents::ReadAll(MVLPFX_TEST_DATA "/documents")) {
        DerList list;
        const auto size = static_cast<std::int32_t>(document.size());
        if (document[0] != 0x30 || document[1] == 0x80) {
            continue;
        }
        ASSERT_EQ(ParseDerList(document.data(), size, &list), 1);
        EXPECT_GT(list.size(), 20U);
        EXPECT_EQ(FlattenToHex(list), ToHex(Blob(document.data(), document.size())));
    }
}

}  // namespace
}  // namespace pkisdk
