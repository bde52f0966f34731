// Text that capi keeps in UTF-8 and gives and takes in the ANSI code page.
#pragma once

#include <string>
#include <string_view>

namespace capi {

// What one side lacks becomes the other's replacement character.
std::string AnsiFromUtf8(std::string_view text);
std::string Utf8FromAnsi(std::string_view text);

}  // namespace capi
