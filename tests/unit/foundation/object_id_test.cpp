#include "foundation/object_id.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "foundation/exception.h"
#include "platform/cryptoapi.h"

namespace pkisdk {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

Blob MakeBlob(std::initializer_list<std::uint8_t> bytes) {
    return Blob(bytes.begin(), bytes.size());
}

// The octets of a text that must convert.
Blob OctetsOf(const std::string& text) {
    Blob octets = MakeBlob({0xEE});
    EXPECT_EQ(OidTextToBlob(text, &octets), 1) << text;
    return octets;
}

std::string TextOf(const Blob& octets) {
    std::string text = "untouched";
    EXPECT_EQ(OidBlobToText(octets, &text), 1);
    return text;
}

bool Converts(const std::string& text) {
    std::uint32_t size = 0;
    return OidTextToOctets(text.c_str(), nullptr, &size);
}

TEST(ObjectIdText, PkcsSevenDataGoesThereAndBack) {
    const Blob octets = OctetsOf("1.2.840.113549.1.7.1");
    EXPECT_THAT(octets.Bytes(), ElementsAre(0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x01));
    EXPECT_EQ(TextOf(octets), "1.2.840.113549.1.7.1");
}

TEST(ObjectIdText, FirstTwoArcsShareOneOctet) {
    EXPECT_THAT(OctetsOf("2.5.4.3").Bytes(), ElementsAre(0x55, 0x04, 0x03));
    EXPECT_THAT(OctetsOf("0.0").Bytes(), ElementsAre(0x00));
    EXPECT_THAT(OctetsOf("0.39").Bytes(), ElementsAre(0x27));
}

TEST(ObjectIdText, FirstArcsOutOfRangeAreRefused) {
    EXPECT_FALSE(Converts("1.40"));
    EXPECT_FALSE(Converts("3.1"));
    EXPECT_FALSE(Converts("2.999"));
    EXPECT_FALSE(Converts("12.3"));
}

TEST(ObjectIdText, TrailingPointAddsNothing) {
    EXPECT_THAT(OctetsOf("1.2.").Bytes(), ElementsAre(0x2A));
}

TEST(ObjectIdText, ZeroArcIsOneZeroOctet) {
    EXPECT_THAT(OctetsOf("1.2.0").Bytes(), ElementsAre(0x2A, 0x00));
}

TEST(ObjectIdText, PointBehindTheFirstArcGivesNoOctets) {
    EXPECT_THAT(OctetsOf("1.").Bytes(), IsEmpty());
}

TEST(ObjectIdText, LetterOrSpaceAnywhereIsRefused) {
    for (const std::string bad : {"a.2.3", "1a2.3", "1.a", "1.2.3a", "1.2.x.4", " 1.2.3", "1. 2.3",
                                  "1.2.3 ", "1.2 .3", "1.-2", "+1.2", "1.2.+3"}) {
        EXPECT_FALSE(Converts(bad)) << bad;
    }
}

TEST(ObjectIdText, EmbeddedNulIsRefusedWhateverStandsBehindIt) {
    for (const std::string& bad :
         {std::string("1.2\0zz", 6), std::string("1.2\0", 4), std::string("1.2\0.3", 6)}) {
        Blob octets = MakeBlob({0xEE});
        EXPECT_EQ(OidTextToBlob(bad, &octets), 0);
        EXPECT_THAT(octets.Bytes(), ElementsAre(0xEE));
        EXPECT_THROW(ObjectId().SetText(bad), Exception);
    }
}

TEST(ObjectIdText, WithoutTwoArcsIsRefused) {
    EXPECT_FALSE(Converts(""));
    EXPECT_FALSE(Converts("1"));
    EXPECT_FALSE(Converts("."));
    EXPECT_FALSE(Converts(".1"));
    std::uint32_t size = 0;
    EXPECT_FALSE(OidTextToOctets(nullptr, nullptr, &size));
}

TEST(ObjectIdText, GroupsOfSevenBitsMostSignificantFirst) {
    EXPECT_THAT(OctetsOf("1.2.127").Bytes(), ElementsAre(0x2A, 0x7F));
    EXPECT_THAT(OctetsOf("1.2.128").Bytes(), ElementsAre(0x2A, 0x81, 0x00));
    EXPECT_THAT(OctetsOf("1.2.16383").Bytes(), ElementsAre(0x2A, 0xFF, 0x7F));
    EXPECT_THAT(OctetsOf("1.2.16384").Bytes(), ElementsAre(0x2A, 0x81, 0x80, 0x00));
    EXPECT_THAT(OctetsOf("1.2.2147483647").Bytes(),
                ElementsAre(0x2A, 0x87, 0xFF, 0xFF, 0xFF, 0x7F));
}

TEST(ObjectIdText, ArcPast32BitsIsRefused) {
    EXPECT_FALSE(Converts("1.2.2147483648"));
    EXPECT_FALSE(Converts("1.2.99999999999999999999"));
    EXPECT_FALSE(Converts("1.4294967296"));
    EXPECT_TRUE(Converts("1.00000000000000000000002"));
}

TEST(ObjectIdText, TextFillingTheBufferIsTheLongestTaken) {
    std::string text = "1.2";
    while (text.size() < 255) {
        text += ".1";
    }
    ASSERT_EQ(text.size(), 255U);
    EXPECT_EQ(OctetsOf(text).GetSize(), 127U);
    EXPECT_EQ(TextOf(OctetsOf(text)), text);
    EXPECT_FALSE(Converts(text + "1"));
    EXPECT_FALSE(Converts(std::string("1.2.") + std::string(300, '.')));
}

TEST(ObjectIdText, SizeIsToldWithoutABuffer) {
    std::uint32_t size = 0;
    EXPECT_TRUE(OidTextToOctets("1.2.840", nullptr, &size));
    EXPECT_EQ(size, 3U);
    std::array<std::uint8_t, 4> out{};
    out.fill(0xEE);
    EXPECT_TRUE(OidTextToOctets("1.2.840", out.data(), &size));
    EXPECT_THAT(out, ElementsAre(0x2A, 0x86, 0x48, 0xEE));
}

TEST(ObjectIdText, BadTextLeavesTheBlobAlone) {
    Blob out = MakeBlob({7});
    EXPECT_EQ(OidTextToBlob("1.40", &out), 0);
    EXPECT_THAT(out.Bytes(), ElementsAre(7));
}

TEST(ObjectIdOctets, FirstOctetOf120IsRefused) {
    std::string text = "untouched";
    EXPECT_EQ(OidBlobToText(MakeBlob({0x78}), &text), 0);
    EXPECT_EQ(text, "untouched");
    EXPECT_EQ(TextOf(MakeBlob({0x77})), "2.39");
}

TEST(ObjectIdOctets, UnfinishedArcIsDropped) {
    EXPECT_EQ(TextOf(MakeBlob({0x2A, 0x86})), "1.2");
    EXPECT_EQ(TextOf(MakeBlob({0x2A, 0x03, 0x86})), "1.2.3");
}

TEST(ObjectIdOctets, LeadingPaddingOfAnArcIsTaken) {
    EXPECT_EQ(TextOf(MakeBlob({0x2A, 0x80, 0x80, 0x05})), "1.2.5");
}

TEST(ObjectIdOctets, ArcPast31BitsPrintsAsSignedNumber) {
    EXPECT_EQ(TextOf(MakeBlob({0x2A, 0x8F, 0xFF, 0xFF, 0xFF, 0x7F})), "1.2.-1");
    EXPECT_EQ(TextOf(MakeBlob({0x2A, 0x88, 0x80, 0x80, 0x80, 0x00})), "1.2.-2147483648");
}

TEST(ObjectIdOctets, TooSmallABufferSaysHowMuchIsNeeded) {
    const std::array<std::uint8_t, 2> octets{0x2A, 0x03};
    std::array<char, 8> out{};
    out.fill('#');
    std::uint32_t size = 5;
    SetLastError(1);
    EXPECT_FALSE(OidOctetsToText(octets.data(), 2, out.data(), &size));
    EXPECT_EQ(size, 6U);
    EXPECT_EQ(GetLastError(), 234U);
    EXPECT_THAT(out, Each('#'));
}

TEST(ObjectIdOctets, EnoughOfABufferKeepsTheSizeGiven) {
    const std::array<std::uint8_t, 2> octets{0x2A, 0x03};
    std::array<char, 8> out{};
    std::uint32_t size = 8;
    EXPECT_TRUE(OidOctetsToText(octets.data(), 2, out.data(), &size));
    EXPECT_STREQ(out.data(), "1.2.3");
    EXPECT_EQ(size, 8U);
    EXPECT_TRUE(OidOctetsToText(octets.data(), 2, nullptr, &size));
    EXPECT_EQ(size, 6U);
}

TEST(ObjectIdOctets, NoneAreEmptyText) {
    std::uint32_t size = 0;
    EXPECT_TRUE(OidOctetsToText(nullptr, 0, nullptr, &size));
    EXPECT_EQ(size, 1U);
    std::array<char, 2> out{'#', '#'};
    EXPECT_TRUE(OidOctetsToText(nullptr, -5, out.data(), &size));
    EXPECT_EQ(out[0], '\0');
    EXPECT_EQ(TextOf(Blob()), "");
}

TEST(ObjectIdOctets, ASizeWithoutOctetsIsRefused) {
    std::uint32_t size = 7;
    EXPECT_FALSE(OidOctetsToText(nullptr, 1, nullptr, &size));
    EXPECT_EQ(size, 7U);
}

TEST(ObjectIdOctets, TextPastTheBufferIsRefused) {
    // "1.2" and then ".127" for each octet: 63 of them come to 255 characters.
    Blob octets = MakeBlob({0x2A});
    const std::vector<std::uint8_t> arcs(63, 0x7F);
    octets.Append(arcs.data(), arcs.size());
    EXPECT_EQ(TextOf(octets).size(), 255U);
    octets.Append(arcs.data(), 1);
    std::string text = "untouched";
    EXPECT_EQ(OidBlobToText(octets, &text), 0);
    EXPECT_EQ(text, "untouched");
}

TEST(ObjectId, EmptyTextClearsAndRaisesNothing) {
    Blob target = MakeBlob({1, 2});
    EXPECT_NO_THROW(ObjectId::SetText("", &target));
    EXPECT_TRUE(target.IsEmpty());
}

TEST(ObjectId, BadTextRaisesWithTheText) {
    Blob target = MakeBlob({1, 2});
    try {
        ObjectId::SetText("1.x", &target);
        FAIL() << "no exception";
    } catch (const Exception& error) {
        EXPECT_EQ(error.code, 0U);
        EXPECT_EQ(error.message, "Incorrect string with OID: \"1.x\".");
    }
    EXPECT_TRUE(target.IsEmpty());
}

TEST(ObjectId, BadOctetsRaiseAndStay) {
    ObjectId id;
    try {
        id.SetOctets(MakeBlob({0x78}));
        FAIL() << "no exception";
    } catch (const Exception& error) {
        EXPECT_EQ(error.code, 0U);
        EXPECT_EQ(error.message,
                  "Error during converting object oid from binary format to string.");
    }
    EXPECT_THAT(id.GetOctets().Bytes(), ElementsAre(0x78));
    std::string text;
    EXPECT_THROW(id.GetText(&text), Exception);
}

TEST(ObjectId, GivesBackItsText) {
    ObjectId id;
    std::string text = "untouched";
    id.GetText(&text);
    EXPECT_EQ(text, "");
    id.SetText("1.2.643.2.2.21");
    id.GetText(&text);
    EXPECT_EQ(text, "1.2.643.2.2.21");
    ObjectId same;
    same.SetOctets(id.GetOctets());
    EXPECT_EQ(same, id);
}

}  // namespace
}  // namespace pkisdk
