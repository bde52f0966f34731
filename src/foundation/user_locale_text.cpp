#include "foundation/user_locale_text.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <locale>
#include <stdexcept>

#include "foundation/code_page_text.h"
#include "foundation/custom_codecvt.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

namespace {

using Facet = tools2::CustomTCodeCvtWcharToChar;

bool LibraryHasUserLocale() {
    try {
        return std::locale("").name() != "C";
    } catch (const std::runtime_error&) {
        return false;
    }
}

// Behind a facet of a locale that the C++ library lacks stands its "C" conversion, which on some
// systems takes every octet for a character.
template <typename Text>
bool IsInUserLocale(const Text& converted) {
    const auto isAscii = [](auto unit) { return static_cast<std::uint32_t>(unit) <= 0x7F; };
    return std::all_of(converted.begin(), converted.end(), isAscii) || LibraryHasUserLocale();
}

// Takes the facet's word where it has one for the whole text.
bool ConvertOut(std::wstring_view text, std::string* bytes) {
    const Facet facet("", 1);
    bytes->resize(text.size() * static_cast<std::size_t>(facet.max_length()));
    std::mbstate_t state{};
    const wchar_t* const end = text.data() + text.size();
    const wchar_t* fromNext = nullptr;
    char* toNext = nullptr;
    if (facet.out(state, text.data(), end, fromNext, bytes->data(), bytes->data() + bytes->size(),
                  toNext) != Facet::ok ||
        fromNext != end) {
        return false;
    }
    bytes->resize(static_cast<std::size_t>(toNext - bytes->data()));
    return IsInUserLocale(*bytes);
}

bool ConvertIn(std::string_view text, std::wstring* wide) {
    const Facet facet("", 1);
    wide->resize(text.size());
    std::mbstate_t state{};
    const char* const end = text.data() + text.size();
    const char* fromNext = nullptr;
    wchar_t* toNext = nullptr;
    if (facet.in(state, text.data(), end, fromNext, wide->data(), wide->data() + wide->size(),
                 toNext) != Facet::ok ||
        fromNext != end || std::mbsinit(&state) == 0) {
        return false;
    }
    wide->resize(static_cast<std::size_t>(toNext - wide->data()));
    return IsInUserLocale(*wide);
}

}  // namespace

std::string ToUserLocale(std::wstring_view text) {
    std::string bytes;
    if (text.size() <= INT_MAX && ConvertOut(text, &bytes)) {
        return bytes;
    }
    return ToCodePage(CP_ACP, text,
                      {.sizing = "ToUserLocale WideCharToMultiByte(1)",
                       .converting = "ToUserLocale WideCharToMultiByte(2)"});
}

std::wstring FromUserLocale(std::string_view text) {
    std::wstring wide;
    if (text.size() <= INT_MAX && ConvertIn(text, &wide)) {
        return wide;
    }
    return FromCodePage(CP_ACP, text,
                        {.sizing = "FromUserLocale MultiByteToWideChar(1)",
                         .converting = "FromUserLocale MultiByteToWideChar(2)"});
}

}  // namespace pkisdk
