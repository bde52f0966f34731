// Wide text spelled by code points, whatever the width of wchar_t.
#pragma once

#include <initializer_list>
#include <string>

namespace support {

inline constexpr bool kWideIsOneUnit = sizeof(wchar_t) == 2;

inline std::wstring Wide(std::initializer_list<char32_t> characters) {
    std::wstring text;
    for (const char32_t character : characters) {
        if (kWideIsOneUnit && character > 0xFFFF) {
            text.push_back(static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10)));
            text.push_back(static_cast<wchar_t>(0xDC00 + ((character - 0x10000) & 0x3FF)));
        } else {
            text.push_back(static_cast<wchar_t>(character));
        }
    }
    return text;
}

}  // namespace support
