#include "derlist/text_armour.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/cryptoapi.h"
#include "support/der_outline.h"

namespace pkisdk {
namespace {

using outline::ToHex;

Blob FromText(const std::string& text) {
    return Blob(text.data(), text.size());
}

struct Outcome {
    int answer;
    std::uint32_t error;
    std::string hex;
};

// The output starts as EE, so that what leaves it alone shows.
Outcome Decode(const std::string& text) {
    const std::uint8_t before = 0xEE;
    Blob out(&before, 1);
    SetLastError(0x1234);
    const int answer = DecodeTextArmour(FromText(text), &out);
    return {answer, GetLastError(), ToHex(out)};
}

void ExpectDecodes(const std::string& text, const std::string& hex) {
    const Outcome outcome = Decode(text);
    EXPECT_EQ(outcome.answer, 1) << text;
    EXPECT_EQ(outcome.error, 0U) << text;
    EXPECT_EQ(outcome.hex, hex) << text;
}

void ExpectRefused(const std::string& text, std::uint32_t error) {
    const Outcome outcome = Decode(text);
    EXPECT_EQ(outcome.answer, 0) << text;
    EXPECT_EQ(outcome.error, error) << text;
    EXPECT_EQ(outcome.hex, "EE") << text;
}

constexpr std::uint32_t kBadData = 0x80090005;
constexpr std::uint32_t kFail = 0x80090020;

TEST(TextArmour, PadsAndLineEndsAloneAreTextWithNothingInIt) {
    ExpectRefused("==\r\n==\n", kFail);
}

TEST(TextArmour, PemDecodes) {
    ExpectDecodes("-----BEGIN PFX-----\nMAMCAQU=\n-----END PFX-----\n", "30 03 02 01 05");
    ExpectDecodes("-----BEGIN PFX-----\r\nMAMC\r\nAQU=\r\n-----END PFX-----", "30 03 02 01 05");
}

TEST(TextArmour, Base64WithoutPadAndArmourDecodes) {
    ExpectDecodes("MAMCAQU", "30 03 02 01 05");
    ExpectDecodes("MAMCAQU=", "30 03 02 01 05");
    ExpectDecodes("MA MC\nAQ\r\nU", "30 03 02 01 05");
}

TEST(TextArmour, FiveDashesAloneHaveNoHeaderToSkip) {
    ExpectRefused("-----", kFail);
}

TEST(TextArmour, LineOfDashesWithoutLineFeedIsRefused) {
    ExpectRefused("------", kBadData);
    ExpectRefused("-----BEGIN PFX-----", kBadData);
    ExpectRefused("-----BEGIN PFX-----\n", kBadData);
}

TEST(TextArmour, FooterRightBehindTheHeaderIsRefused) {
    ExpectRefused("-----BEGIN PFX-----\n-----END PFX-----\n", kFail);
}

TEST(TextArmour, BinaryIsHandedThroughAtItsFirstByteThatIsNoText) {
    ExpectDecodes(std::string("0\x82", 2), "30 82");
    ExpectDecodes(std::string("AAAA\0", 5), "41 41 41 41 00");
    ExpectDecodes("-----BEGIN PFX:-----\nMAMC\n", ToHex(FromText("-----BEGIN PFX:-----\nMAMC\n")));
}

TEST(TextArmour, DashInTheBodyEndsTheText) {
    ExpectDecodes("MAMC-AQU=", "30 03 02");
    ExpectRefused("-MAMCAQU=", kFail);
}

TEST(TextArmour, NoInputIsRefused) {
    ExpectRefused("", kBadData);
}

TEST(TextArmour, LabelAndKindDoNotMatter) {
    ExpectDecodes("-----\nMAMCAQU=", "30 03 02 01 05");
    ExpectDecodes("-----BEGIN anything/at all\nMAMCAQU=--", "30 03 02 01 05");
}

TEST(TextArmour, OneCharacterStandsForNoByte) {
    ExpectDecodes("A", "");
}

TEST(DecodeArmour, TellsTextFromBytes) {
    Blob out;
    EXPECT_EQ(DecodeArmour(FromText("MAMC").Bytes(), &out), ArmourKind::kText);
    EXPECT_EQ(ToHex(out), "30 03 02");
    EXPECT_EQ(DecodeArmour(FromText("M:MC").Bytes(), &out), ArmourKind::kBinary);
    EXPECT_EQ(DecodeArmour(FromText("==").Bytes(), &out), ArmourKind::kRefused);
    EXPECT_EQ(ToHex(out), "30 03 02");
}

TEST(Base64, ShortGroupsGiveTheBytesTheyCan) {
    const auto decode = [](const std::string& text) {
        Blob out;
        EXPECT_EQ(DecodeBase64(FromText(text), &out), 1) << text;
        return ToHex(out);
    };
    // RFC 4648, section 10.
    EXPECT_EQ(decode("Zg=="), "66");
    EXPECT_EQ(decode("Zm8="), "66 6F");
    EXPECT_EQ(decode("Zm9v"), "66 6F 6F");
    EXPECT_EQ(decode("Zm9vYg"), "66 6F 6F 62");
    EXPECT_EQ(decode("Zm9vYmE"), "66 6F 6F 62 61");
    EXPECT_EQ(decode("Zm9vYmFy"), "66 6F 6F 62 61 72");
    EXPECT_EQ(decode("Zm9vY"), "66 6F 6F");
    EXPECT_EQ(decode("+/+/"), "FB FF BF");
}

TEST(Base64, WrongPaddingAndStrangersAreDropped) {
    Blob out;
    EXPECT_EQ(DecodeBase64(FromText("Z=m9=v*\x80\n"), &out), 1);
    EXPECT_EQ(ToHex(out), "66 6F 6F");
}

TEST(Base64, NothingOfTheAlphabetIsRefused) {
    Blob out = FromText("x");
    EXPECT_EQ(DecodeBase64(Blob(), &out), 0);
    EXPECT_EQ(DecodeBase64(FromText("=-_ \n"), &out), 0);
    EXPECT_EQ(ToHex(out), "78");
}

}  // namespace
}  // namespace pkisdk
