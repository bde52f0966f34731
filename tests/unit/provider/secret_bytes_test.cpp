#include "provider/secret_bytes.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using provider::SecretBytes;

// The "VmFlags" of the mapping that holds `address`.
std::string FlagsOfMapping(const void* address) {
    std::ifstream mappings("/proc/self/smaps");
    bool isInside = false;
    for (std::string line; std::getline(mappings, line);) {
        std::uintptr_t start = 0;
        std::uintptr_t end = 0;
        char dash = 0;
        std::istringstream text(line);
        if (text >> std::hex >> start >> dash >> end && dash == '-') {
            const auto at = reinterpret_cast<std::uintptr_t>(address);
            isInside = start <= at && at < end;
        } else if (isInside && line.starts_with("VmFlags:")) {
            return line + " ";
        }
    }
    return "";
}

TEST(SecretBytes, AreZerosAtFirst) {
    SecretBytes bytes(40);
    ASSERT_EQ(bytes.size(), 40U);
    EXPECT_FALSE(bytes.empty());
    for (const BYTE octet : bytes.View()) {
        EXPECT_EQ(octet, 0);
    }
}

TEST(SecretBytes, AreNoneWhereNoneWereAskedFor) {
    const SecretBytes bytes(0);
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(bytes.data(), nullptr);
    EXPECT_TRUE(SecretBytes().empty());
    EXPECT_TRUE(SecretBytes::CopyOf({}).empty());
}

TEST(SecretBytes, MoveAndLeaveNothingBehind) {
    const std::array<BYTE, 3> octets{1, 2, 3};
    SecretBytes first = SecretBytes::CopyOf(octets);
    const BYTE* const place = first.data();
    SecretBytes second(std::move(first));
    EXPECT_TRUE(first.empty());
    EXPECT_EQ(first.data(), nullptr);
    EXPECT_EQ(second.data(), place);
    SecretBytes third(9);
    third = std::move(second);
    EXPECT_TRUE(second.empty());
    ASSERT_EQ(third.size(), 3U);
    EXPECT_EQ(third.data()[2], 3);
    SecretBytes* const same = &third;
    third = std::move(*same);
    ASSERT_EQ(third.size(), 3U);
    EXPECT_EQ(third.data()[0], 1);
}

TEST(SecretBytes, StayOutOfCoreFiles) {
    const SecretBytes bytes(32);
    const std::string flags = FlagsOfMapping(bytes.data());
    EXPECT_NE(flags.find(" dd "), std::string::npos) << flags;
    const std::array<BYTE, 32> ordinary{};
    EXPECT_EQ(FlagsOfMapping(ordinary.data()).find(" dd "), std::string::npos);
}

// The library would add ordinary memory, which a core file shows.
TEST(SecretBytes, AreRefusedBeyondTheSecureMemory) {
    std::vector<SecretBytes> many;
    EXPECT_THROW(
        while (many.size() != 1000) { many.emplace_back(32 * 1024); }, std::bad_alloc);
    EXPECT_GE(many.size(), 16U);
    for (const SecretBytes& bytes : many) {
        EXPECT_NE(FlagsOfMapping(bytes.data()).find(" dd "), std::string::npos);
    }
    many.clear();
    EXPECT_FALSE(SecretBytes(32 * 1024).empty());
}

}  // namespace
