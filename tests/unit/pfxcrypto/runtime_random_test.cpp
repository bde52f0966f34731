#include "pfxcrypto/runtime_random.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/runtime_random.h"

namespace {

using pkisdk::Blob;
using pkisdk::MakeMacSalt;
using pkisdk::MakeRandomContainerName;

std::string Name() {
    std::string name;
    MakeRandomContainerName(&name);
    return name;
}

// By the C standard srand(1) is the state of a generator that was never seeded.
TEST(RuntimeRandom, TheFirstUnseededValueIsTheRuntimes) {
    std::srand(1);
    EXPECT_EQ(std::rand(), pkisdk::kFirstUnseededRandom);
}

TEST(RuntimeRandom, AnUnseededGeneratorIsSeeded) {
    std::srand(1);
    std::rand();
    const int second = std::rand();
    std::srand(1);
    pkisdk::SeedRuntimeRandom();
    EXPECT_NE(std::rand(), second);
}

TEST(RuntimeRandom, ASeededGeneratorLosesOneValueAndKeepsItsSequence) {
    std::srand(20261121);
    std::rand();
    const int second = std::rand();
    std::srand(20261121);
    pkisdk::SeedRuntimeRandom();
    EXPECT_EQ(std::rand(), second);
}

TEST(RuntimeRandom, TheMacSaltIsTheLowBytesOfTheNextValues) {
    std::srand(7);
    Blob expected(std::uint64_t{32});
    for (int i = 0; i < 32; ++i) {
        *expected.GetAt(i) = static_cast<std::uint8_t>(std::rand() & 0xFF);
    }
    std::srand(7);
    Blob salt;
    MakeMacSalt(32, &salt);
    EXPECT_EQ(salt, expected);
}

TEST(RuntimeRandom, ANamesDigitsAreTheLowestOfTheNextValues) {
    std::srand(20261121);
    std::rand();
    std::string expected = "rnd-";
    while (expected.size() < 40) {
        if (expected.size() % 5 == 0) {
            expected += '-';
        } else {
            const int digit = std::rand() & 0xF;
            expected += static_cast<char>(digit < 10 ? '0' + digit : 'A' + digit - 10);
        }
    }
    std::srand(20261121);
    EXPECT_EQ(Name(), expected);
}

TEST(RuntimeRandom, TwoNamesInARowDiffer) {
    EXPECT_NE(Name(), Name());
}

TEST(RuntimeRandom, ANameIsGroupsOfUpperCaseHexadecimal) {
    for (int round = 0; round < 100; ++round) {
        const std::string name = Name();
        ASSERT_EQ(name.size(), 40u);
        EXPECT_EQ(name.substr(0, 4), "rnd-");
        for (std::size_t i = 4; i < name.size(); ++i) {
            if (i % 5 == 0) {
                EXPECT_EQ(name[i], '-') << name;
            } else {
                EXPECT_NE(std::string("0123456789ABCDEF").find(name[i]), std::string::npos) << name;
            }
        }
    }
}

}  // namespace
