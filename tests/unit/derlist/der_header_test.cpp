#include "derlist/der_header.h"

#include <gtest/gtest.h>

#include <array>
#include <string_view>
#include <vector>

#include "support/der_outline.h"

namespace pkisdk {
namespace {

using outline::Bytes;
using outline::FromHex;

constexpr std::uint32_t kWide = 0xFFFFFFFF;

struct Length {
    int answer = 0;
    std::uint32_t value = 0xAAAAAAAA;
    std::uint32_t total = 0xAAAAAAAA;
};

Length Decode(std::string_view hex, std::uint32_t limit) {
    Length length;
    length.answer = DecodeDerLength(FromHex(hex), limit, &length.value, &length.total);
    return length;
}

void ExpectLength(std::string_view hex, std::uint32_t limit, std::uint32_t value,
                  std::uint32_t total) {
    const Length length = Decode(hex, limit);
    EXPECT_EQ(length.answer, 1) << hex;
    EXPECT_EQ(length.value, value) << hex;
    EXPECT_EQ(length.total, total) << hex;
}

void ExpectRefused(std::string_view hex, std::uint32_t limit) {
    const Length length = Decode(hex, limit);
    EXPECT_EQ(length.answer, 0) << hex;
    EXPECT_EQ(length.total, 0xAAAAAAAA) << hex;
}

TEST(DecodeDerLength, OneOctetIsTheLengthItself) {
    ExpectLength("00", kWide, 0, 1);
    ExpectLength("7F", kWide, 127, 128);
}

TEST(DecodeDerLength, OctetsFrom85UpAreLengthsToo) {
    ExpectLength("85", kWide, 133, 134);
    ExpectLength("FF", kWide, 255, 256);
}

TEST(DecodeDerLength, LongFormIsMostSignificantFirst) {
    ExpectLength("81 80", kWide, 0x80, 0x82);
    ExpectLength("82 01 02", kWide, 0x0102, 0x0105);
    ExpectLength("83 01 02 03", kWide, 0x010203, 0x010207);
    ExpectLength("84 01 02 03 04", kWide, 0x01020304, 0x01020309);
}

TEST(DecodeDerLength, NonMinimalFormIsTaken) {
    ExpectLength("84 00 00 00 01", kWide, 1, 6);
}

TEST(DecodeDerLength, IndefiniteFormIsReportedByTheTotal) {
    const Length length = Decode("80", kWide);
    EXPECT_EQ(length.answer, 0);
    EXPECT_EQ(length.total, kIndefiniteTotal);
}

TEST(DecodeDerLength, LimitHoldsForLengthAndForOctetsWithLength) {
    ExpectLength("05", 5, 5, 6);
    ExpectRefused("05", 4);
    ExpectLength("81 05", 7, 5, 7);
    ExpectRefused("81 05", 6);
    ExpectRefused("82 00 00", 2);
}

TEST(DecodeDerLength, SumWrapsAt32Bits) {
    ExpectLength("84 FF FF FF FF", 5, 0xFFFFFFFF, 4);
    ExpectRefused("84 FF FF FF FF", 4);
    // The sum that looks like the sign of the indefinite form is only too long.
    ExpectRefused("84 FF FF FF FA", 0xFFFFFFFE);
}

TEST(DecodeDerLength, OctetsThatAreNotThereAreRefused) {
    ExpectRefused("", kWide);
    ExpectRefused("81", kWide);
    ExpectRefused("84 00 00 00", kWide);
}

TEST(DecodeDerLength, WithoutAValueIsRefused) {
    std::uint32_t total = 0;
    EXPECT_EQ(DecodeDerLength(FromHex("05"), kWide, nullptr, &total), 0);
}

class ReadDerHeaderTest : public testing::Test {
  protected:
    // Reads at `start` of `hex`; the scope is the whole document unless a test says otherwise.
    int Read(std::string_view hex, std::uint32_t start = 0) {
        document_ = FromHex(hex);
        cursor_ = start;
        if (node_.scopeLength == 0) {
            node_.scopeLength = static_cast<std::uint32_t>(document_.size());
        }
        return ReadDerHeader(document_, &cursor_, &node_);
    }

    Bytes document_;
    std::uint32_t cursor_ = 0;
    DerNode node_;
};

TEST_F(ReadDerHeaderTest, StopsAtTheValue) {
    EXPECT_EQ(Read("04 81 01 41"), 1);
    EXPECT_EQ(node_.tag, 0x04);
    EXPECT_EQ(node_.contentLength, 1U);
    EXPECT_EQ(node_.indefinite, 0U);
    EXPECT_EQ(node_.offset, 0U);
    EXPECT_EQ(cursor_, 3U);
}

TEST_F(ReadDerHeaderTest, PassesZerosInFront) {
    EXPECT_EQ(Read("00 00 00 04 01 41"), 1);
    EXPECT_EQ(node_.offset, 3U);
    EXPECT_EQ(node_.tag, 0x04);
    EXPECT_EQ(cursor_, 5U);
}

TEST_F(ReadDerHeaderTest, ZerosToTheEndOfTheDocumentAreRefused) {
    EXPECT_EQ(Read("00 00"), 0);
    EXPECT_EQ(cursor_, 0U);
}

TEST_F(ReadDerHeaderTest, IndefiniteLengthIsEstimatedFromTheEndOfTheScope) {
    EXPECT_EQ(Read("30 80 02 01 05 00 00"), 1);
    EXPECT_EQ(node_.indefinite, 1U);
    EXPECT_EQ(node_.contentLength, 5U);
    EXPECT_EQ(cursor_, 2U);
}

TEST_F(ReadDerHeaderTest, IndefiniteEstimateTakesTheStartOfTheScope) {
    node_.scopeLength = 20;
    node_.scopeStart = 100;
    node_.offset = 0;
    EXPECT_EQ(Read("FF FF 30 80 00", 2), 1);
    EXPECT_EQ(node_.contentLength, 100U - 2U + 20U - 2U);
}

TEST_F(ReadDerHeaderTest, IndefiniteLengthThatEndsItsScopeIsRefused) {
    EXPECT_EQ(Read("30 80"), 0);
    EXPECT_EQ(cursor_, 0U);
}

TEST_F(ReadDerHeaderTest, IdentifierThatEndsItsScopeStandsAlone) {
    node_.scopeLength = 4;
    node_.offset = 2;
    node_.indefinite = 1;
    EXPECT_EQ(Read("FF FF FF FF FF FF 04 01 41", 6), 1);
    EXPECT_EQ(node_.tag, 0x04);
    EXPECT_EQ(node_.contentLength, 0U);
    EXPECT_EQ(node_.indefinite, 0U);
    EXPECT_EQ(cursor_, 7U);
}

TEST_F(ReadDerHeaderTest, ZeroAtTheEndOfTheScopeIsAnIdentifier) {
    node_.scopeLength = 3;
    node_.offset = 0;
    EXPECT_EQ(Read("FF FF 00 00 41", 2), 1);
    EXPECT_EQ(node_.offset, 3U);
    EXPECT_EQ(node_.tag, 0x00);
    EXPECT_EQ(node_.contentLength, 0U);
    EXPECT_EQ(cursor_, 4U);
}

TEST_F(ReadDerHeaderTest, PastTheScopeIsRefused) {
    node_.scopeLength = 3;
    EXPECT_EQ(Read("FF FF FF FF 04 01 41", 4), 0);
    EXPECT_EQ(cursor_, 4U);
}

TEST_F(ReadDerHeaderTest, LengthIsMeasuredAgainstTheScopeNotTheRest) {
    EXPECT_EQ(Read("04 04 41 42"), 1);
    EXPECT_EQ(node_.contentLength, 4U);
    node_.offset = 0;
    EXPECT_EQ(Read("04 05 41 42"), 0);
}

TEST_F(ReadDerHeaderTest, HeaderThatTheDocumentCutsIsRefused) {
    EXPECT_EQ(Read("04"), 0);
    EXPECT_EQ(Read("04", 1), 0);
    node_.scopeLength = 9;
    EXPECT_EQ(Read("04 82 01"), 0);
    EXPECT_EQ(cursor_, 0U);
}

TEST_F(ReadDerHeaderTest, WithoutScopeCursorOrNodeIsRefused) {
    document_ = FromHex("04 01 41");
    EXPECT_EQ(ReadDerHeader(document_, &cursor_, &node_), 0);
    node_.scopeLength = 3;
    EXPECT_EQ(ReadDerHeader(document_, nullptr, &node_), 0);
    EXPECT_EQ(ReadDerHeader(document_, &cursor_, nullptr), 0);
    EXPECT_EQ(ReadDerHeader(document_, &cursor_, &node_), 1);
}

std::vector<std::uint8_t> Written(std::uint8_t tag, std::uint32_t contentLength) {
    std::array<std::uint8_t, 6> header{};
    std::uint8_t* const end = WriteDerHeader(tag, contentLength, header.data());
    return {header.data(), end};
}

TEST(WriteDerHeader, TakesTheFewestOctets) {
    EXPECT_EQ(Written(0x30, 0), FromHex("30 00"));
    EXPECT_EQ(Written(0x30, 0x7F), FromHex("30 7F"));
    EXPECT_EQ(Written(0x30, 0x80), FromHex("30 81 80"));
    EXPECT_EQ(Written(0xA0, 0xFF), FromHex("A0 81 FF"));
    EXPECT_EQ(Written(0x04, 0x100), FromHex("04 82 01 00"));
    EXPECT_EQ(Written(0x04, 0xFFFF), FromHex("04 82 FF FF"));
    EXPECT_EQ(Written(0x04, 0x10000), FromHex("04 83 01 00 00"));
    EXPECT_EQ(Written(0x04, 0xFFFFFF), FromHex("04 83 FF FF FF"));
    EXPECT_EQ(Written(0x04, 0x1000000), FromHex("04 84 01 00 00 00"));
    EXPECT_EQ(Written(0x04, 0xFFFFFFFF), FromHex("04 84 FF FF FF FF"));
}

}  // namespace
}  // namespace pkisdk
