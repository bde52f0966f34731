#include "foundation/string_utils.h"

#include <gtest/gtest.h>

#include <clocale>
#include <locale>
#include <string>
#include <string_view>

#include "foundation/exception.h"
#include "platform/cryptoapi.h"
#include "support/process_locale.h"
#include "support/wide_text.h"

namespace pkisdk {
namespace {

using support::Wide;

constexpr std::size_t kTwoTo31 = std::size_t{1} << 31;

TEST(StringUtils, EmptyTextIsEmptyBothWays) {
    EXPECT_EQ(StringUtils::ToString(L""), "");
    EXPECT_EQ(StringUtils::ToWString(""), L"");
}

TEST(StringUtils, CyrillicTakesTwoOctetsACharacter) {
    const std::wstring wide = Wide({0x41F, 0x424, 0x425});
    EXPECT_EQ(StringUtils::ToString(wide), "\xD0\x9F\xD0\xA4\xD0\xA5");
    EXPECT_EQ(StringUtils::ToWString("\xD0\x9F\xD0\xA4\xD0\xA5"), wide);
}

TEST(StringUtils, CharacterOutsideTheBmpTakesFourOctets) {
    const std::wstring wide = Wide({'a', 0x1F600, 'b'});
    EXPECT_EQ(StringUtils::ToString(wide),
              "a\xF0\x9F\x98\x80"
              "b");
    EXPECT_EQ(StringUtils::ToWString("a\xF0\x9F\x98\x80"
                                     "b"),
              wide);
}

TEST(StringUtils, LoneSurrogateBecomesTheReplacementCharacter) {
    EXPECT_EQ(StringUtils::ToString(Wide({'a', 0xD83D, 'b'})),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(StringUtils::ToString(Wide({'a', 0xDE00, 'b'})),
              "a\xEF\xBF\xBD"
              "b");
}

TEST(StringUtils, EmbeddedNulIsACharacterLikeAnyOther) {
    const std::wstring wide = Wide({'a', 0, 'b', 0});
    const std::string narrow("a\0b\0", 4);
    EXPECT_EQ(StringUtils::ToString(wide), narrow);
    EXPECT_EQ(StringUtils::ToWString(narrow), wide);
}

TEST(StringUtils, InvalidUtf8BecomesTheReplacementCharacter) {
    EXPECT_EQ(StringUtils::ToWString("a\xFF"
                                     "b"),
              Wide({'a', 0xFFFD, 'b'}));
    EXPECT_EQ(StringUtils::ToWString("a\x80"
                                     "b"),
              Wide({'a', 0xFFFD, 'b'}));
    EXPECT_EQ(StringUtils::ToWString("a\xE2\x82"), Wide({'a', 0xFFFD}));
}

TEST(StringUtils, TextThatPassesTheConvertersCountIsRefusedUnread) {
    try {
        StringUtils::ToString(std::wstring_view(L"x", kTwoTo31));
        FAIL();
    } catch (const Exception& e) {
        EXPECT_EQ(e.message, "StringUtils::ToString WideCharToMultiByte(1)");
        EXPECT_EQ(e.code, std::uint32_t{ERROR_INVALID_PARAMETER});
    }
    try {
        StringUtils::ToWString(std::string_view("x", kTwoTo31));
        FAIL();
    } catch (const Exception& e) {
        EXPECT_EQ(e.message, "StringUtils::ToWString MultiByteToWideChar(1)");
        EXPECT_EQ(e.code, std::uint32_t{ERROR_INVALID_PARAMETER});
    }
}

TEST(StringUtils, NeitherAsksNorChangesTheProcessLocale) {
    for (const std::string name : {"C", "C.UTF-8"}) {
        const support::ProcessLocale locale(name);
        ASSERT_EQ(std::setlocale(LC_ALL, nullptr), name);
        EXPECT_EQ(StringUtils::ToString(Wide({0x416})), "\xD0\x96");
        EXPECT_EQ(StringUtils::ToWString("\xD0\x96"), Wide({0x416}));
        EXPECT_EQ(std::setlocale(LC_ALL, nullptr), name);
        EXPECT_EQ(std::locale().name(), name);
    }
}

}  // namespace
}  // namespace pkisdk
