#include "capi/code_page.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string>

#include "capi/registry.h"
#include "capi/settings.h"
#include "capi/text.h"

namespace capi {

namespace {

// Ascending by number.
constexpr CodePage kCodePages[] = {
    {437, "CP437", false},
    {737, "CP737", false},
    {775, "CP775", false},
    {850, "CP850", false},
    {852, "CP852", false},
    {855, "CP855", false},
    {857, "CP857", false},
    {858, "CP858", false},
    {860, "CP860", false},
    {861, "CP861", false},
    {862, "CP862", false},
    {863, "CP863", false},
    {864, "CP864", false},
    {865, "CP865", false},
    {866, "CP866", false},
    {869, "CP869", false},
    {874, "CP874", false},
    {932, "CP932", true},
    {936, "GBK", true},
    {949, "UHC", true},
    {950, "BIG5", true},
    {1250, "CP1250", false},
    {1251, "CP1251", false},
    {1252, "CP1252", false},
    {1253, "CP1253", false},
    {1254, "CP1254", false},
    {1255, "CP1255", false},
    {1256, "CP1256", false},
    {1257, "CP1257", false},
    {20127, "ASCII", false},
    {20866, "KOI8-R", false},
    {21866, "KOI8-U", false},
    {28591, "ISO-8859-1", false},
    {28592, "ISO-8859-2", false},
    {28593, "ISO-8859-3", false},
    {28594, "ISO-8859-4", false},
    {28595, "ISO-8859-5", false},
    {28596, "ISO-8859-6", false},
    {28597, "ISO-8859-7", false},
    {28598, "ISO-8859-8", false},
    {28599, "ISO-8859-9", false},
    {28603, "ISO-8859-13", false},
    {28605, "ISO-8859-15", false},
    {51932, "EUC-JP", true},
    {51949, "EUC-KR", true},
    {54936, "GB18030", true},
    {CP_UTF8, nullptr, false},
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

UINT AnsiCodePage() {
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

}  // namespace capi
