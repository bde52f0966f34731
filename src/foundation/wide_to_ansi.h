// Text as it crosses the module's boundary.
#pragma once

#include <string>

namespace pkisdk {

// Wide text to the process's ANSI code page, in which the module carries passwords and names. Null
// or empty `text` gives an empty string, and so, without a word, does a conversion that gets no
// memory. Characters that the code page lacks become its default character.
void WideToAnsi(const wchar_t* text, std::string* out);

// Text of that code page as wide text; empty where it can't be converted.
void AnsiToWide(const std::string& text, std::wstring* out);

}  // namespace pkisdk
