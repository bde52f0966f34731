#include "capi/utf8.h"

#include <cstdint>

namespace capi {

namespace {

// What a first octet promises: how many follow, its own bits of the value, and what the second
// octet may be, which keeps out overlong forms, surrogates and values past the last code point.
struct Lead {
    std::size_t trailing;
    std::uint32_t bits;
    unsigned char secondMin;
    unsigned char secondMax;
};

constexpr Lead kNoLead = {0, 0, 1, 0};

Lead ReadLead(unsigned char octet) {
    if (octet >= 0xC2 && octet <= 0xDF) {
        return {1, octet & 0x1FU, 0x80, 0xBF};
    }
    if (octet >= 0xE0 && octet <= 0xEF) {
        const unsigned char min = octet == 0xE0 ? 0xA0 : 0x80;
        const unsigned char max = octet == 0xED ? 0x9F : 0xBF;
        return {2, octet & 0x0FU, min, max};
    }
    if (octet >= 0xF0 && octet <= 0xF4) {
        const unsigned char min = octet == 0xF0 ? 0x90 : 0x80;
        const unsigned char max = octet == 0xF4 ? 0x8F : 0xBF;
        return {3, octet & 0x07U, min, max};
    }
    return kNoLead;
}

char Octet(std::uint32_t value) {
    return static_cast<char>(static_cast<unsigned char>(value));
}

}  // namespace

bool IsUnicodeScalar(wchar_t character) {
    const auto value = static_cast<char32_t>(character);
    return value < 0xD800 || (value > 0xDFFF && value <= 0x10FFFF);
}

Utf8Character DecodeUtf8(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80) {
        return {static_cast<wchar_t>(first), 1, true};
    }
    const Lead lead = ReadLead(first);
    std::uint32_t value = lead.bits;
    std::size_t size = 1;
    while (size <= lead.trailing && size < text.size()) {
        const auto octet = static_cast<unsigned char>(text[size]);
        const unsigned char min = size == 1 ? lead.secondMin : 0x80;
        const unsigned char max = size == 1 ? lead.secondMax : 0xBF;
        if (octet < min || octet > max) {
            break;
        }
        value = (value << 6) | (octet & 0x3FU);
        ++size;
    }
    const bool isValid = lead.trailing != 0 && size == lead.trailing + 1;
    return {static_cast<wchar_t>(value), size, isValid};
}

NarrowCharacter EncodeUtf8(wchar_t character) {
    const auto value = static_cast<char32_t>(character);
    NarrowCharacter result;
    if (value < 0x80) {
        result.octets = {Octet(value)};
        result.size = 1;
    } else if (value < 0x800) {
        result.octets = {Octet(0xC0 | (value >> 6)), Octet(0x80 | (value & 0x3F))};
        result.size = 2;
    } else if (value < 0x10000) {
        result.octets = {Octet(0xE0 | (value >> 12)), Octet(0x80 | ((value >> 6) & 0x3F)),
                         Octet(0x80 | (value & 0x3F))};
        result.size = 3;
    } else {
        result.octets = {Octet(0xF0 | (value >> 18)), Octet(0x80 | ((value >> 12) & 0x3F)),
                         Octet(0x80 | ((value >> 6) & 0x3F)), Octet(0x80 | (value & 0x3F))};
        result.size = 4;
    }
    return result;
}

std::wstring WideFromUtf8(std::string_view text) {
    std::wstring wide;
    while (!text.empty()) {
        const Utf8Character next = DecodeUtf8(text);
        wide += next.isValid ? next.character : kReplacementCharacter;
        text.remove_prefix(next.size);
    }
    return wide;
}

std::string Utf8FromWide(std::wstring_view text) {
    std::string narrow;
    for (const wchar_t character : text) {
        const NarrowCharacter octets =
            EncodeUtf8(IsUnicodeScalar(character) ? character : kReplacementCharacter);
        narrow.append(octets.Bytes().begin(), octets.Bytes().end());
    }
    return narrow;
}

}  // namespace capi
