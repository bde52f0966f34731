#include "foundation/utf16.h"

#include <cstddef>
#include <cstdint>

namespace pkisdk {

namespace {

constexpr bool kWideIsOneUnit = sizeof(wchar_t) == sizeof(char16_t);

constexpr std::uint32_t kLastCharacter = 0x10FFFF;
constexpr std::uint32_t kFirstOfPairs = 0x10000;
constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::uint32_t kHighSurrogate = 0xD800;
constexpr std::uint32_t kLowSurrogate = 0xDC00;
constexpr std::uint32_t kSurrogateMask = 0xFC00;

bool IsPair(std::u16string_view units) {
    return units.size() >= 2 && (units[0] & kSurrogateMask) == kHighSurrogate &&
           (units[1] & kSurrogateMask) == kLowSurrogate;
}

void AppendUnits(std::uint32_t character, std::u16string* units) {
    if (character > kLastCharacter) {
        character = kReplacement;
    }
    if (character < kFirstOfPairs) {
        units->push_back(static_cast<char16_t>(character));
        return;
    }
    character -= kFirstOfPairs;
    units->push_back(static_cast<char16_t>(kHighSurrogate | character >> 10));
    units->push_back(static_cast<char16_t>(kLowSurrogate | (character & 0x3FFU)));
}

std::uint32_t JoinPair(char16_t high, char16_t low) {
    return kFirstOfPairs + ((high - kHighSurrogate) << 10) + (low - kLowSurrogate);
}

}  // namespace

std::u16string ToUtf16(std::wstring_view text) {
    if constexpr (kWideIsOneUnit) {
        return {text.begin(), text.end()};
    }
    std::u16string units;
    units.reserve(text.size());
    for (const wchar_t character : text) {
        AppendUnits(static_cast<std::uint32_t>(character), &units);
    }
    return units;
}

std::wstring FromUtf16(std::u16string_view units) {
    if constexpr (kWideIsOneUnit) {
        return {units.begin(), units.end()};
    }
    std::wstring text;
    text.reserve(units.size());
    for (std::size_t i = 0; i < units.size(); ++i) {
        if (IsPair(units.substr(i, 2))) {
            text.push_back(static_cast<wchar_t>(JoinPair(units[i], units[i + 1])));
            ++i;
        } else {
            text.push_back(static_cast<wchar_t>(units[i]));
        }
    }
    return text;
}

}  // namespace pkisdk
