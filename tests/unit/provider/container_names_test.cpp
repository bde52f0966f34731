#include "provider/container_names.h"

#include <gtest/gtest.h>

namespace {

using provider::ContainerIdentity;

constexpr ContainerIdentity kIdentity = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                         0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
// FIPS 180-4's example: the SHA-256 of "abc".
constexpr char kHashOfAbc[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(ContainerNames, AreHashedForTheFile) {
    EXPECT_EQ(provider::ContainerFileName("abc"), std::string(kHashOfAbc) + ".key");
    EXPECT_TRUE(provider::IsContainerFileName(provider::ContainerFileName("abc")));
}

TEST(ContainerNames, OfFilesHaveOneForm) {
    const std::string good = provider::ContainerFileName("abc");
    EXPECT_FALSE(provider::IsContainerFileName(""));
    EXPECT_FALSE(provider::IsContainerFileName(good.substr(1)));
    EXPECT_FALSE(provider::IsContainerFileName("B" + good.substr(1)));
    EXPECT_FALSE(provider::IsContainerFileName(good + "~"));
    EXPECT_FALSE(provider::IsContainerFileName(kHashOfAbc));
    EXPECT_FALSE(provider::IsContainerFileName(".unfinished"));
}

TEST(ContainerNames, ThatAreUniqueComeBackInParts) {
    const std::string unique = provider::UniqueContainerName("abc", kIdentity);
    EXPECT_EQ(unique, std::string("velmorix:") + kHashOfAbc + ":00112233445566778899aabbccddeeff");
    EXPECT_LE(unique.size(), provider::kLongestContainerName);
    const auto parsed = provider::ParseUniqueContainerName(unique);
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(parsed->fileName, provider::ContainerFileName("abc"));
    EXPECT_EQ(parsed->identity, kIdentity);
}

TEST(ContainerNames, ThatOnlyLookUniqueArePlain) {
    const std::string unique = provider::UniqueContainerName("abc", kIdentity);
    EXPECT_FALSE(provider::ParseUniqueContainerName(""));
    EXPECT_FALSE(provider::ParseUniqueContainerName("velmorix:"));
    EXPECT_FALSE(provider::ParseUniqueContainerName(unique + "0"));
    EXPECT_FALSE(provider::ParseUniqueContainerName(unique.substr(0, unique.size() - 1)));
    for (std::size_t i = 0; i != unique.size(); ++i) {
        std::string other = unique;
        other[i] = 'G';
        EXPECT_FALSE(provider::ParseUniqueContainerName(other)) << other;
    }
}

}  // namespace
