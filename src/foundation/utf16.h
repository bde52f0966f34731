// The 16-bit units of documents and the wide characters of the platform, which may have more bits.
#pragma once

#include <string>
#include <string_view>

namespace pkisdk {

// The units that spell `text`. Surrogates in it pass as the units they are; a value that is beyond
// the last character becomes U+FFFD.
std::u16string ToUtf16(std::wstring_view text);

// Joins surrogate pairs where a wide character holds more than one unit. A surrogate without its
// other half stays as it is.
std::wstring FromUtf16(std::u16string_view units);

}  // namespace pkisdk
