// Text where the ANSI code page is GB18030 and the user's locale in UTF-8: a character takes one,
// two or four octets of the one and as many or others of the other. The octets are iconv's.
#include <gtest/gtest.h>

#include <locale>
#include <string>

#include "foundation/user_locale_text.h"
#include "foundation/wide_to_ansi.h"
#include "platform/cryptoapi.h"
#include "support/code_page_settings.h"

namespace pkisdk {
namespace {

constexpr UINT kGb18030 = 54936;

const test_support::ScopedSettings kSettings = test_support::UseCodePage(kGb18030);
const test_support::ScopedVariable kLocale("LC_ALL", "C.UTF-8");

class CodePageGb18030 : public testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(GetACP(), kGb18030); }
};

TEST_F(CodePageGb18030, TextIsWrittenInIt) {
    std::string text;
    // Four octets each, where UTF-8 has two.
    WideToAnsi(L"\u00A5\u00E3", &text);
    EXPECT_EQ(text, "\x81\x30\x84\x36\x81\x30\x8A\x30");
}

TEST_F(CodePageGb18030, TextIsReadInIt) {
    std::wstring text;
    // Three characters, and two in UTF-8.
    AnsiToWide("\xE4\xB8\xAD\xE4\xB8\xAD", &text);
    EXPECT_EQ(text, L"\u6D93\uE15D\u8151");
}

TEST_F(CodePageGb18030, TextOfTheUsersLocaleIsTheLibrarysWhereOctetsAndCharactersDiffer) {
    ASSERT_EQ(std::locale("").name(), "C.UTF-8");
    EXPECT_EQ(ToUserLocale(L"\u4E2D"), "\xE4\xB8\xAD");
    EXPECT_EQ(FromUserLocale("\xE4\xB8\xAD"), L"\u4E2D");
}

}  // namespace
}  // namespace pkisdk
