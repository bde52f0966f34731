// UTF-8, one character at a time.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace capi {

inline constexpr wchar_t kReplacementCharacter = 0xFFFD;

// Whether the value is a code point of Unicode that is no surrogate.
bool IsUnicodeScalar(wchar_t character);

struct Utf8Character {
    wchar_t character = 0;
    // Octets taken: for an ill-formed sequence its maximal part, at least one.
    std::size_t size = 1;
    bool isValid = false;
};

// The first character of `text`, which is not empty.
Utf8Character DecodeUtf8(std::string_view text);

struct NarrowCharacter {
    std::array<char, 8> octets{};
    // 0 where the character has no form.
    std::size_t size = 0;

    std::span<const char> Bytes() const { return std::span(octets).first(size); }
};

// `character` is a Unicode scalar.
NarrowCharacter EncodeUtf8(wchar_t character);

// Whole texts; what has no form on the other side becomes the replacement character.
std::wstring WideFromUtf8(std::string_view text);
std::string Utf8FromWide(std::wstring_view text);

}  // namespace capi
