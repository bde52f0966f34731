#include "capi/ansi_text.h"

#include <climits>

#include "capi/text.h"

namespace capi {

namespace {

std::string Convert(std::string_view text, UINT from, UINT to) {
    if (text.empty() || text.size() > INT_MAX || GetACP() == CP_UTF8) {
        return std::string(text);
    }
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    // No code page makes more characters of a text than it has bytes.
    const int wideSize = MultiByteToWideChar(from, 0, text.data(), size, wide.data(), size);
    const int narrowSize =
        WideCharToMultiByte(to, 0, wide.data(), wideSize, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(narrowSize), '\0');
    WideCharToMultiByte(to, 0, wide.data(), wideSize, narrow.data(), narrowSize, nullptr, nullptr);
    return narrow;
}

}  // namespace

std::string AnsiFromUtf8(std::string_view text) {
    return Convert(text, CP_UTF8, CP_ACP);
}

std::string Utf8FromAnsi(std::string_view text) {
    return Convert(text, CP_ACP, CP_UTF8);
}

}  // namespace capi
