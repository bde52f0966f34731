// 8-bit text of the user's own locale: the strings of documents that state no encoding.
#pragma once

#include <string>
#include <string_view>

namespace pkisdk {

// Wide text in the user's locale; what it lacks becomes its default character. The process's locale
// is neither asked nor changed. Throws Exception with the last error as `code`, for text of 2^31
// units or bytes and more.
std::string ToUserLocale(std::wstring_view text);

// The other way; bytes that mean nothing become U+FFFD. Throws like ToUserLocale.
std::wstring FromUserLocale(std::string_view text);

}  // namespace pkisdk
