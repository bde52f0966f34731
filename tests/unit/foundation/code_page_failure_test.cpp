#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "foundation/exception.h"
#include "foundation/string_utils.h"
#include "foundation/user_locale_text.h"
#include "platform/cryptoapi.h"
#include "support/platform_calls.h"

namespace pkisdk {
namespace {

constexpr DWORD kReason = 0x12345;

using test_support::PlatformCalls;

// The message of the conversion when the call of that number fails.
std::string FailureOf(const char* call, int number, const std::function<void()>& conversion) {
    PlatformCalls::Get().Reset();
    PlatformCalls::Get().FailNamed(call, number, kReason);
    try {
        conversion();
    } catch (const Exception& e) {
        EXPECT_EQ(e.code, kReason);
        return e.message;
    }
    return "no failure";
}

TEST(StringUtilsFailure, ToStringNamesTheCallThatFailed) {
    const auto convert = [] { StringUtils::ToString(L"x"); };
    EXPECT_EQ(FailureOf("WideCharToMultiByte", 1, convert),
              "StringUtils::ToString WideCharToMultiByte(1)");
    EXPECT_EQ(FailureOf("WideCharToMultiByte", 2, convert),
              "StringUtils::ToString WideCharToMultiByte(2)");
    EXPECT_EQ(FailureOf("WideCharToMultiByte", 3, convert), "no failure");
}

TEST(StringUtilsFailure, ToWStringNamesTheCallThatFailed) {
    const auto convert = [] { StringUtils::ToWString("x"); };
    EXPECT_EQ(FailureOf("MultiByteToWideChar", 1, convert),
              "StringUtils::ToWString MultiByteToWideChar(1)");
    EXPECT_EQ(FailureOf("MultiByteToWideChar", 2, convert),
              "StringUtils::ToWString MultiByteToWideChar(2)");
    EXPECT_EQ(FailureOf("MultiByteToWideChar", 3, convert), "no failure");
}

TEST(UserLocaleTextFailure, CodePageThatCannotConvertIsToldWithItsCall) {
    // A lone surrogate is no text to the facet, nor to the library behind it: after the facet's own
    // call come the two of the code page.
    const auto write = [] { ToUserLocale(std::wstring(1, wchar_t{0xD83D})); };
    EXPECT_EQ(FailureOf("WideCharToMultiByte", 2, write), "ToUserLocale WideCharToMultiByte(1)");
    EXPECT_EQ(FailureOf("WideCharToMultiByte", 3, write), "ToUserLocale WideCharToMultiByte(2)");
    EXPECT_EQ(FailureOf("WideCharToMultiByte", 4, write), "no failure");
    if (GetACP() != CP_UTF8) {
        GTEST_SKIP() << "every octet is a character here";
    }
    const auto read = [] { FromUserLocale("\xD0\x96\xFF"); };
    EXPECT_EQ(FailureOf("MultiByteToWideChar", 2, read), "FromUserLocale MultiByteToWideChar(1)");
    EXPECT_EQ(FailureOf("MultiByteToWideChar", 3, read), "FromUserLocale MultiByteToWideChar(2)");
    EXPECT_EQ(FailureOf("MultiByteToWideChar", 4, read), "no failure");
}

TEST(UserLocaleTextFailure, FacetThatCannotConvertLeavesItToTheCodePage) {
    std::string narrow;
    std::wstring wide;
    EXPECT_EQ(FailureOf("WideCharToMultiByte", 1, [&] { narrow = ToUserLocale(L"x"); }),
              "no failure");
    EXPECT_EQ(narrow, "x");
    EXPECT_EQ(FailureOf("MultiByteToWideChar", 1, [&] { wide = FromUserLocale("x"); }),
              "no failure");
    EXPECT_EQ(wide, L"x");
}

}  // namespace
}  // namespace pkisdk
