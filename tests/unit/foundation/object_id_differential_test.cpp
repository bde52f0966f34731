#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "foundation/object_id.h"
#include "support/differential.h"
#include "support/reference_oid.h"

namespace pkisdk {
namespace {

using differential::Below;
using differential::Once;
using differential::Random;

constexpr std::uint64_t kUsualRuns = 50000;

std::string Arc(Random& random) {
    switch (Below(random, 8)) {
        case 0:
            return "";
        case 1:
            return std::string(Below(random, 4), '0') + std::to_string(Below(random, 50));
        case 2:
            return std::to_string(random() >> Below(random, 64));
        case 3:
            return std::to_string(2147483646 + Below(random, 4));
        default:
            return std::to_string(Below(random, 200));
    }
}

std::string DottedText(Random& random) {
    std::string text = std::to_string(Below(random, 4));
    const std::uint32_t arcs = Once(random, 8) ? Below(random, 140) : Below(random, 12);
    for (std::uint32_t i = 0; i < arcs; ++i) {
        text += "." + (i == 0 ? std::to_string(Below(random, 45)) : Arc(random));
    }
    if (!text.empty() && Once(random, 8)) {
        constexpr char any[] = "0123456789..  xX+-/";
        text[Below(random, static_cast<std::uint32_t>(text.size()))] =
            any[Below(random, sizeof(any) - 1)];
    }
    return text;
}

std::vector<std::uint8_t> Octets(Random& random) {
    std::vector<std::uint8_t> octets(Once(random, 8) ? Below(random, 140) : Below(random, 12));
    std::generate(octets.begin(), octets.end(), [&] {
        const std::uint64_t byte = random();
        return static_cast<std::uint8_t>(Once(random, 2) ? byte : byte & 0x7F);
    });
    if (!octets.empty() && !Once(random, 4)) {
        octets[0] = static_cast<std::uint8_t>(octets[0] % 120);
    }
    return octets;
}

TEST(ObjectIdDifferential, TextToOctetsIsThatOfTheLiteralVersion) {
    Random random = differential::MakeRandom();
    std::uint64_t good = 0;
    const std::uint64_t runs = differential::Runs(kUsualRuns);
    for (std::uint64_t i = 0; i < runs; ++i) {
        const std::string text = DottedText(random);
        Blob ours;
        std::vector<std::uint8_t> theirs;
        const bool expected = reference::OidTextToOctets(text.c_str(), &theirs);
        ASSERT_EQ(OidTextToBlob(text, &ours), expected ? 1 : 0) << text;
        ASSERT_TRUE(std::ranges::equal(ours.Bytes(), theirs)) << text;
        good += expected ? 1 : 0;
    }
    EXPECT_GT(good, runs / 10);
    EXPECT_LT(good, runs - runs / 10);
}

TEST(ObjectIdDifferential, OctetsToTextIsThatOfTheLiteralVersion) {
    Random random = differential::MakeRandom();
    std::uint64_t good = 0;
    const std::uint64_t runs = differential::Runs(kUsualRuns);
    for (std::uint64_t i = 0; i < runs; ++i) {
        const std::vector<std::uint8_t> octets = Octets(random);
        std::string ours;
        std::string theirs;
        const bool expected = reference::OidOctetsToText(octets, &theirs);
        ASSERT_EQ(OidBlobToText(Blob(octets.data(), octets.size()), &ours), expected ? 1 : 0)
            << testing::PrintToString(octets);
        ASSERT_EQ(ours, theirs) << testing::PrintToString(octets);
        good += expected ? 1 : 0;
    }
    EXPECT_GT(good, runs / 10);
    EXPECT_LT(good, runs - runs / 20);
}

}  // namespace
}  // namespace pkisdk
