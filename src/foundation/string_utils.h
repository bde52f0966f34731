// Wide text and UTF-8. Neither direction asks for or changes the process's locale, and a NUL is a
// character like any other.
#pragma once

#include <string>
#include <string_view>

namespace pkisdk::StringUtils {

// Wide text as UTF-8. What is no character, such as half of a surrogate pair, becomes U+FFFD.
// Throws Exception with the last error as `code`, for text of 2^31 units or octets and more.
std::string ToString(std::wstring_view text);

// UTF-8 as wide text. Octets that are not UTF-8 become U+FFFD. Throws like ToString.
std::wstring ToWString(std::string_view text);

}  // namespace pkisdk::StringUtils
