// The code pages that text conversion knows, and which of them is the ANSI one.
#pragma once

#include <string_view>

#include "capi/types.h"

namespace capi {

struct CodePage {
    UINT number;
    bool isDoubleByte;
    // The name that iconv has for it; null for UTF-8, which is converted here.
    const char* iconvName;
};

// Null where there is no such page. CP_ACP and its like must have been resolved.
const CodePage* FindCodePage(UINT number);

// The code page that a locale's name ends in, as in "ru_RU.KOI8-R" or "en_US.UTF-8@posix"; UTF-8
// where it names none, or one that is not known.
UINT CodePageOfLocale(std::string_view locale);

// As GetACP answers it.
UINT AnsiCodePage();

}  // namespace capi
