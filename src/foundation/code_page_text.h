// The platform's code page conversions over owned text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pkisdk {

// What an exception says when the conversion could not be sized, and when it could not be done.
struct ConversionFailures {
    const char* sizing;
    const char* converting;
};

// Wide text in `codePage`; what the code page lacks becomes its default character, or U+FFFD in
// UTF-8. Empty text is empty. Throws Exception with the last error as `code` when the platform
// refuses, and for text of 2^31 units or octets and more.
std::string ToCodePage(std::uint32_t codePage, std::wstring_view text,
                       const ConversionFailures& failures);

// The other way; bytes that mean nothing in `codePage` become U+FFFD. Throws like ToCodePage.
std::wstring FromCodePage(std::uint32_t codePage, std::string_view text,
                          const ConversionFailures& failures);

}  // namespace pkisdk
