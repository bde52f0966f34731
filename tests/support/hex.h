// Octets as hexadecimal text, as standards print them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

inline std::string ToHex(std::span<const std::uint8_t> octets) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t octet : octets) {
        text.push_back(kDigits[octet >> 4]);
        text.push_back(kDigits[octet & 15]);
    }
    return text;
}

// `text` is lower case and of even length.
inline std::vector<std::uint8_t> FromHex(std::string_view text) {
    const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    std::vector<std::uint8_t> octets;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        octets.push_back(static_cast<std::uint8_t>(digit(text[i]) * 16 + digit(text[i + 1])));
    }
    return octets;
}

inline std::vector<std::uint8_t> Octets(std::string_view text) {
    return {text.begin(), text.end()};
}

}  // namespace test_support
