// The user's locale is that of the environment: the tests named after one run under it.
#include "foundation/user_locale_text.h"

#include <gmock/gmock.h>

#include <clocale>
#include <locale>
#include <map>
#include <string>
#include <string_view>

#include "foundation/exception.h"
#include "platform/cryptoapi.h"
#include "support/process_locale.h"
#include "support/wide_text.h"

namespace pkisdk {
namespace {

using support::Wide;

constexpr UINT kKoi8r = 20866;
constexpr UINT kWindows1251 = 1251;

TEST(UserLocaleText, EmptyTextIsEmptyBothWays) {
    EXPECT_EQ(ToUserLocale(L""), "");
    EXPECT_EQ(FromUserLocale(""), L"");
}

TEST(UserLocaleText, AsciiAndEmbeddedNulsStayWhatTheyAre) {
    const std::string narrow("a\0b\0", 4);
    EXPECT_EQ(ToUserLocale(Wide({'a', 0, 'b', 0})), narrow);
    EXPECT_EQ(FromUserLocale(narrow), Wide({'a', 0, 'b', 0}));
}

TEST(UserLocaleText, TextThatPassesTheConvertersCountIsRefusedUnread) {
    constexpr std::size_t kTwoTo31 = std::size_t{1} << 31;
    try {
        ToUserLocale(std::wstring_view(L"x", kTwoTo31));
        FAIL();
    } catch (const Exception& e) {
        EXPECT_EQ(e.message, "ToUserLocale WideCharToMultiByte(1)");
        EXPECT_EQ(e.code, std::uint32_t{ERROR_INVALID_PARAMETER});
    }
    try {
        FromUserLocale(std::string_view("x", kTwoTo31));
        FAIL();
    } catch (const Exception& e) {
        EXPECT_EQ(e.message, "FromUserLocale MultiByteToWideChar(1)");
        EXPECT_EQ(e.code, std::uint32_t{ERROR_INVALID_PARAMETER});
    }
}

TEST(UserLocaleText, ProcessLocaleIsNeitherAskedNorChanged) {
    const std::map<UINT, std::string> letters = {
        {CP_UTF8, "\xD0\x96"}, {kKoi8r, "\xF6"}, {kWindows1251, "\xC6"}};
    const auto letter = letters.find(GetACP());
    if (letter == letters.end()) {
        GTEST_SKIP() << "needs a user's locale in UTF-8, KOI8-R or Windows-1251";
    }
    const std::string& narrow = letter->second;
    for (const std::string name : {"C", "C.UTF-8"}) {
        const support::ProcessLocale locale(name);
        ASSERT_EQ(std::setlocale(LC_ALL, nullptr), name);
        EXPECT_EQ(ToUserLocale(Wide({0x416})), narrow);
        EXPECT_EQ(FromUserLocale(narrow), Wide({0x416}));
        EXPECT_EQ(std::setlocale(LC_ALL, nullptr), name);
        EXPECT_EQ(std::locale().name(), name);
    }
}

TEST(UserLocaleText, InUtf8) {
    if (GetACP() != CP_UTF8) {
        GTEST_SKIP() << "needs a user's locale in UTF-8";
    }
    EXPECT_EQ(ToUserLocale(Wide({0x416, 0x1F600})), "\xD0\x96\xF0\x9F\x98\x80");
    EXPECT_EQ(FromUserLocale("\xD0\x96\xF0\x9F\x98\x80"), Wide({0x416, 0x1F600}));
    EXPECT_EQ(ToUserLocale(Wide({0xE9})), "\xC3\xA9");
    EXPECT_EQ(FromUserLocale("\xC3\xA9"), Wide({0xE9}));
    EXPECT_EQ(ToUserLocale(Wide({0x416, 0xD83D})), "\xD0\x96\xEF\xBF\xBD");
    EXPECT_EQ(FromUserLocale("\xD0\x96\xFF"), Wide({0x416, 0xFFFD}));
    EXPECT_EQ(FromUserLocale("\xD0\x96\xD0"), Wide({0x416, 0xFFFD}));
}

TEST(UserLocaleText, InKoi8r) {
    if (GetACP() != kKoi8r) {
        GTEST_SKIP() << "needs a user's locale in KOI8-R";
    }
    EXPECT_EQ(ToUserLocale(Wide({0x414, 0x430})), "\xE4\xC1");
    EXPECT_EQ(FromUserLocale("\xE4\xC1"), Wide({0x414, 0x430}));
    EXPECT_EQ(ToUserLocale(Wide({0x414, 0x4E2D})), "\xE4?");
}

TEST(UserLocaleText, InWindows1251) {
    if (GetACP() != kWindows1251) {
        GTEST_SKIP() << "needs a user's locale in Windows-1251";
    }
    EXPECT_EQ(ToUserLocale(Wide({0x414, 0x430})), "\xC4\xE0");
    EXPECT_EQ(FromUserLocale("\xC4\xE0"), Wide({0x414, 0x430}));
    EXPECT_EQ(ToUserLocale(Wide({0x414, 0x4E2D})), "\xC4?");
    // Windows has the nearest letter. Never is it the Cyrillic letter of that octet.
    EXPECT_THAT(ToUserLocale(Wide({0xE9})), testing::AnyOf("e", "?"));
}

}  // namespace
}  // namespace pkisdk
