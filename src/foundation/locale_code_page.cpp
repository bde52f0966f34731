#include "foundation/locale_code_page.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

#include "platform/cryptoapi.h"

namespace tools2 {

namespace {

// Codesets as names spell them, in lower case and without punctuation, that do not end in the
// number of their code page.
struct Codeset {
    std::string_view name;
    std::uint32_t codePage;
};
constexpr std::array kCodesets = {Codeset{"utf8", CP_UTF8}, Codeset{"koi8r", 20866},
                                  Codeset{"koi8u", 21866}};

struct Family {
    std::string_view prefix;
    std::uint32_t base;
};
constexpr std::array kFamilies = {Family{"iso8859", 28590}, Family{"windows", 0}, Family{"cp", 0},
                                  Family{"", 0}};

std::string Folded(std::string_view codeset) {
    std::string folded;
    for (const char c : codeset) {
        if (c >= 'A' && c <= 'Z') {
            folded.push_back(static_cast<char>(c - 'A' + 'a'));
        } else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
            folded.push_back(c);
        }
    }
    return folded;
}

// 0 unless all of `digits` is a number of at most five digits.
std::uint32_t Number(std::string_view digits) {
    constexpr std::size_t kMostDigits = 5;
    std::uint32_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, number);
    return digits.size() <= kMostDigits && read.ec == std::errc() && read.ptr == end ? number : 0;
}

std::uint32_t CodePageOfCodeset(const std::string& folded) {
    for (const Codeset& codeset : kCodesets) {
        if (folded == codeset.name) {
            return codeset.codePage;
        }
    }
    for (const Family& family : kFamilies) {
        if (folded.starts_with(family.prefix)) {
            const std::uint32_t number =
                Number(std::string_view(folded).substr(family.prefix.size()));
            return number == 0 ? 0 : family.base + number;
        }
    }
    return 0;
}

}  // namespace

std::uint32_t CodePageOfLocale(std::string_view name) {
    if (name.empty()) {
        return GetACP();
    }
    const std::size_t point = name.find('.');
    if (point == std::string_view::npos) {
        return 0;
    }
    const std::string_view codeset = name.substr(point + 1);
    return CodePageOfCodeset(Folded(codeset.substr(0, codeset.find('@'))));
}

int BytesPerCharacter(std::uint32_t codePage) {
    constexpr std::uint32_t kGb18030 = 54936;
    constexpr std::uint32_t kEucJp = 51932;
    constexpr std::array<std::uint32_t, 5> kDoubleByte = {932, 936, 949, 950, 51949};
    if (codePage == CP_UTF8 || codePage == kGb18030) {
        return 4;
    }
    if (codePage == kEucJp) {
        return 3;
    }
    return std::find(kDoubleByte.begin(), kDoubleByte.end(), codePage) == kDoubleByte.end() ? 1 : 2;
}

}  // namespace tools2
