// Octets spelled in hexadecimal, and what a failure said.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <initializer_list>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "foundation/blob.h"

namespace support {

inline int HexDigit(char c) {
    return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
}

// "30 03 02 01 05"; blanks are for the reader.
inline pkisdk::Blob FromHex(std::string_view hex) {
    std::vector<std::uint8_t> octets;
    int high = -1;
    for (const char c : hex) {
        if (c == ' ') {
            continue;
        }
        if (high < 0) {
            high = HexDigit(c);
        } else {
            octets.push_back(static_cast<std::uint8_t>(high << 4 | HexDigit(c)));
            high = -1;
        }
    }
    return {octets.data(), octets.size()};
}

inline std::string ToHex(const pkisdk::Blob& blob) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string hex;
    for (const std::uint8_t octet : blob.Bytes()) {
        if (!hex.empty()) {
            hex.push_back(' ');
        }
        hex.push_back(kDigits[octet >> 4]);
        hex.push_back(kDigits[octet & 15]);
    }
    return hex;
}

// The message of the exception that `action` throws, which must be of this very class.
template <typename Expected, typename Action>
std::string MessageOf(Action action) {
    try {
        action();
    } catch (const std::exception& e) {
        EXPECT_STREQ(typeid(e).name(), typeid(Expected).name());
        return e.what();
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

}  // namespace support
