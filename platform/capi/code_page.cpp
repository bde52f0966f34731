#include "capi/code_page.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <new>
#include <string>

#include "capi/registry.h"
#include "capi/settings.h"
#include "capi/text.h"

namespace capi {

namespace {

// Ascending by number.
constexpr CodePage kCodePages[] = {
    {437, false, "CP437"},
    {737, false, "CP737"},
    {775, false, "CP775"},
    {850, false, "CP850"},
    {852, false, "CP852"},
    {855, false, "CP855"},
    {857, false, "CP857"},
    {858, false, "CP858"},
    {860, false, "CP860"},
    {861, false, "CP861"},
    {862, false, "CP862"},
    {863, false, "CP863"},
    {864, false, "CP864"},
    {865, false, "CP865"},
    {866, false, "CP866"},
    {869, false, "CP869"},
    {874, false, "CP874"},
    {932, true, "CP932"},
    {936, true, "GBK"},
    {949, true, "UHC"},
    {950, true, "BIG5"},
    {1250, false, "CP1250"},
    {1251, false, "CP1251"},
    {1252, false, "CP1252"},
    {1253, false, "CP1253"},
    {1254, false, "CP1254"},
    {1255, false, "CP1255"},
    {1256, false, "CP1256"},
    {1257, false, "CP1257"},
    {20127, false, "ASCII"},
    {20866, false, "KOI8-R"},
    {21866, false, "KOI8-U"},
    {28591, false, "ISO-8859-1"},
    {28592, false, "ISO-8859-2"},
    {28593, false, "ISO-8859-3"},
    {28594, false, "ISO-8859-4"},
    {28595, false, "ISO-8859-5"},
    {28596, false, "ISO-8859-6"},
    {28597, false, "ISO-8859-7"},
    {28598, false, "ISO-8859-8"},
    {28599, false, "ISO-8859-9"},
    {28603, false, "ISO-8859-13"},
    {28605, false, "ISO-8859-15"},
    {51932, true, "EUC-JP"},
    {51949, true, "EUC-KR"},
    {54936, true, "GB18030"},
    {CP_UTF8, false, nullptr},
};

// What locales call the pages whose number does not stand in the name, in lower case and without
// punctuation.
struct CodesetAlias {
    std::string_view name;
    UINT number;
};
constexpr CodesetAlias kCodesetAliases[] = {
    {"koi8r", 20866},   {"koi8u", 21866},  {"eucjp", 51932},   {"euckr", 51949},
    {"gb18030", 54936}, {"gbk", 936},      {"gb2312", 936},    {"big5", 950},
    {"sjis", 932},      {"shiftjis", 932}, {"usascii", 20127}, {"ansix341968", 20127},
    {"tis620", 874},    {"utf8", CP_UTF8},
};

// Prefixes before a number, and what the number counts from.
struct CodesetFamily {
    std::string_view prefix;
    UINT base;
};
constexpr CodesetFamily kCodesetFamilies[] = {
    {"cp", 0}, {"windows", 0}, {"ibm", 0}, {"microsoftcp", 0}, {"iso8859", 28590}};

bool IsAsciiDigit(char c) {
    return c >= '0' && c <= '9';
}

std::string LettersAndDigits(std::string_view text) {
    std::string kept;
    for (const char c : text) {
        if (c >= 'A' && c <= 'Z') {
            kept.push_back(static_cast<char>(c - 'A' + 'a'));
        } else if ((c >= 'a' && c <= 'z') || IsAsciiDigit(c)) {
            kept.push_back(c);
        }
    }
    return kept;
}

// At most five digits and nothing else, else 0, which is no page's number.
UINT ParseNumber(std::string_view text) {
    if (text.size() > 5 || !std::all_of(text.begin(), text.end(), IsAsciiDigit)) {
        return 0;
    }
    UINT number = 0;
    for (const char digit : text) {
        number = number * 10 + static_cast<UINT>(digit - '0');
    }
    return number;
}

UINT CodePageOfCodeset(std::string_view codeset) {
    const std::string name = LettersAndDigits(codeset);
    for (const CodesetAlias& alias : kCodesetAliases) {
        if (name == alias.name) {
            return alias.number;
        }
    }
    for (const CodesetFamily& family : kCodesetFamilies) {
        if (!name.starts_with(family.prefix)) {
            continue;
        }
        const UINT suffix = ParseNumber(std::string_view(name).substr(family.prefix.size()));
        if (suffix != 0 && FindCodePage(family.base + suffix) != nullptr) {
            return family.base + suffix;
        }
    }
    return CP_UTF8;
}

constexpr char kCodePageKey[] =
    "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage";

// 0 where the settings name none that is known.
UINT CodePageOfSettings() {
    const std::shared_ptr<const Settings> settings = CurrentSettings();
    const SettingsValue* const value = settings->FindValue(kCodePageKey, "ACP");
    if (value == nullptr) {
        return 0;
    }
    const UINT number = value->type == REG_SZ      ? ParseNumber(value->texts.front())
                        : value->type == REG_DWORD ? static_cast<UINT>(value->number)
                                                   : 0;
    return FindCodePage(number) == nullptr ? 0 : number;
}

}  // namespace

const CodePage* FindCodePage(UINT number) {
    const auto* const found =
        std::lower_bound(std::begin(kCodePages), std::end(kCodePages), number,
                         [](const CodePage& page, UINT wanted) { return page.number < wanted; });
    return found != std::end(kCodePages) && found->number == number ? found : nullptr;
}

UINT CodePageOfLocale(std::string_view locale) {
    const std::size_t point = locale.find('.');
    if (point == std::string_view::npos) {
        return CP_UTF8;
    }
    const std::string_view rest = locale.substr(point + 1);
    return CodePageOfCodeset(rest.substr(0, rest.find('@')));
}

namespace {

UINT CodePageOfUser() {
    const UINT named = CodePageOfSettings();
    if (named != 0) {
        return named;
    }
    for (const char* const variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* const locale = std::getenv(variable);
        if (locale != nullptr && *locale != '\0') {
            return CodePageOfLocale(locale);
        }
    }
    return CP_UTF8;
}

}  // namespace

UINT AnsiCodePage() {
    static std::atomic<UINT> last{CP_UTF8};
    try {
        const UINT page = CodePageOfUser();
        last = page;
        return page;
    } catch (const std::bad_alloc&) {
        // Who asks for the page is not told of failures, and under another page than before the
        // same text would be another.
        return last;
    }
}

}  // namespace capi
