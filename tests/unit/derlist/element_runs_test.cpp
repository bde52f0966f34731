#include "derlist/element_runs.h"

#include <gtest/gtest.h>

#include <set>
#include <string_view>

#include "support/der_outline.h"
#include "support/differential.h"
#include "support/document_generator.h"
#include "support/guarded_octets.h"
#include "support/reference_der_list.h"

namespace pkisdk {
namespace {

bool Looks(std::string_view hex) {
    return LooksLikeDer(outline::FromHex(hex));
}

TEST(LooksLikeDer, TakesExactRunsOfElements) {
    EXPECT_TRUE(Looks("05 00"));
    EXPECT_TRUE(Looks("02 01 05 04 01 41"));
    EXPECT_FALSE(Looks("02 01 05 04 02 41"));
    EXPECT_FALSE(Looks("02 01 05 04"));
    EXPECT_FALSE(Looks("02 01 05 04 00 41"));
}

TEST(LooksLikeDer, AsksForTwoBytes) {
    EXPECT_FALSE(Looks(""));
    EXPECT_FALSE(Looks("05"));
}

TEST(LooksLikeDer, ReadsNothingBehindTheLastOctet) {
    for (const std::string_view hex : {"05", "05 00 05", "05 00 04 84", "05 00 04 84 00 00 00"}) {
        const test_support::GuardedOctets octets(outline::FromHex(hex));
        EXPECT_FALSE(LooksLikeDer(octets.Bytes())) << hex;
    }
}

TEST(LooksLikeDer, PassesZerosInFrontButNotZerosAlone) {
    EXPECT_TRUE(Looks("00 02 01 05"));
    EXPECT_TRUE(Looks("00 00 00 05 00"));
    EXPECT_FALSE(Looks("00 00"));
    EXPECT_FALSE(Looks("00 05"));
    EXPECT_FALSE(Looks("05 00 00 05 00"));
}

TEST(LooksLikeDer, TakesTheseIdentifiersAndNoOther) {
    std::set<int> taken{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x0A, 0x0C, 0x10, 0x11,
                        0x12, 0x13, 0x14, 0x16, 0x17, 0x18, 0x1E, 0x30, 0x31};
    for (int number = 0; number < 16; ++number) {
        taken.insert({0x80 + number, 0xA0 + number});
    }
    for (int tag = 0; tag < 256; ++tag) {
        const std::uint8_t element[] = {static_cast<std::uint8_t>(tag), 0x00};
        EXPECT_EQ(LooksLikeDer(element), taken.count(tag) == 1) << tag;
    }
}

TEST(LooksLikeDer, LooksAtTheFirstLevelOnly) {
    EXPECT_TRUE(Looks("30 03 FF FF FF"));
}

TEST(LooksLikeDer, ReadsLongForms) {
    EXPECT_TRUE(Looks("04 81 01 41"));
    EXPECT_TRUE(Looks("04 82 00 01 41"));
    EXPECT_TRUE(Looks("04 83 00 00 01 41"));
    EXPECT_TRUE(Looks("04 84 00 00 00 01 41"));
    EXPECT_TRUE(Looks("04 81 00"));
    EXPECT_FALSE(Looks("04 82 00"));
    EXPECT_FALSE(Looks("04 84 FF FF FF FF 41"));
}

TEST(LooksLikeDer, TakesTheIndefiniteOctetAndThoseFrom85UpAsLengths) {
    const auto withValue = [](std::uint8_t length, std::size_t count) {
        outline::Bytes bytes{0x04, length};
        bytes.resize(2 + count, 0x41);
        return LooksLikeDer(bytes);
    };
    EXPECT_TRUE(withValue(0x80, 128));
    EXPECT_FALSE(withValue(0x80, 127));
    EXPECT_TRUE(withValue(0x85, 133));
    EXPECT_TRUE(withValue(0xFF, 255));
}

TEST(LooksLikeDer, LengthThatWrapsDoesNotLeadBack) {
    // 6 + FFFFFFFA is 2^32: modulo that, the walk would stand still.
    EXPECT_FALSE(Looks("30 84 FF FF FF FA"));
    EXPECT_FALSE(Looks("05 00 30 84 FF FF FF F8"));
    EXPECT_FALSE(Looks("30 84 FF FF FF FF"));
}

TEST(ElementRuns, AnswersTheSameAfterItsStepsAreSpent) {
    differential::Random random = differential::MakeRandom();
    std::uint64_t opened = 0;
    for (std::uint64_t i = 0; i < differential::Runs(2000) / 10; ++i) {
        documents::Bytes document = documents::NestedElements(random, 12);
        document.resize(std::min<std::size_t>(document.size(), 200));
        ElementRuns runs(document);
        // All ranges of a document are many more steps than it has bytes.
        for (std::uint32_t first = 0; first <= document.size(); ++first) {
            for (std::uint32_t length = 0; first + length <= document.size(); ++length) {
                const bool expected = reference::LooksLikeDer(document.data() + first, length) != 0;
                ASSERT_EQ(runs.LooksLikeDer(first, length), expected)
                    << first << " " << length << " in " << testing::PrintToString(document);
                opened += expected ? 1 : 0;
            }
        }
    }
    EXPECT_GT(opened, 0U);
}

TEST(ElementRuns, HasNothingInAnEmptyDocument) {
    ElementRuns runs{std::span<const std::uint8_t>()};
    EXPECT_FALSE(runs.LooksLikeDer(0, 0));
}

}  // namespace
}  // namespace pkisdk
