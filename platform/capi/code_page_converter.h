// One direction of iconv, one character at a time, so that a bad one costs itself alone.
#pragma once

#include <iconv.h>

#include <optional>
#include <string_view>

#include "capi/utf8.h"

namespace capi {

class CodePageConverter {
  public:
    // Names as iconv has them; the wide side is "WCHAR_T".
    CodePageConverter(const char* to, const char* from);
    ~CodePageConverter();
    CodePageConverter(const CodePageConverter&) = delete;
    CodePageConverter& operator=(const CodePageConverter&) = delete;

    // False where this machine's iconv lacks the code page.
    bool IsOpen() const;

    // Takes the first character off `*text`, which is not empty, or nothing but one octet of it
    // where the octets mean nothing.
    std::optional<wchar_t> TakeWide(std::string_view* text);

    // Size 0 where the code page lacks the character.
    NarrowCharacter Narrow(wchar_t character);

  private:
    iconv_t descriptor_;
};

}  // namespace capi
