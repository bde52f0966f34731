#include "foundation/utf16.h"

#include <gtest/gtest.h>

#include <string>

#include "support/wide_text.h"

namespace pkisdk {
namespace {

using support::Wide;

TEST(Utf16, PlainCharactersAreOneUnitEach) {
    EXPECT_EQ(ToUtf16(Wide({'a', 0, 0x416, 0xFFFF})), std::u16string(u"a\0\u0416\uFFFF", 4));
    EXPECT_EQ(FromUtf16(std::u16string(u"a\0\u0416\uFFFF", 4)), Wide({'a', 0, 0x416, 0xFFFF}));
}

TEST(Utf16, CharactersOutsideTheBmpAreTwoUnits) {
    const std::u16string units = {0xD800, 0xDC00, 0xD83D, 0xDE00, 0xDBFF, 0xDFFF};
    EXPECT_EQ(ToUtf16(Wide({0x10000, 0x1F600, 0x10FFFF})), units);
    EXPECT_EQ(FromUtf16(units), Wide({0x10000, 0x1F600, 0x10FFFF}));
}

TEST(Utf16, LoneSurrogatesPassAsTheyAre) {
    const std::u16string units = {0xD83D, 'a', 0xDE00, 0xDE00, 0xD83D};
    EXPECT_EQ(ToUtf16(Wide({0xD83D, 'a', 0xDE00, 0xDE00, 0xD83D})), units);
    EXPECT_EQ(FromUtf16(units), Wide({0xD83D, 'a', 0xDE00, 0xDE00, 0xD83D}));
}

TEST(Utf16, ViewEndsInsideAPair) {
    const std::u16string units = {'a', 0xD83D, 0xDE00};
    EXPECT_EQ(FromUtf16(std::u16string_view(units).substr(0, 2)), Wide({'a', 0xD83D}));
}

TEST(Utf16, ValueBeyondTheLastCharacterIsReplaced) {
    if (support::kWideIsOneUnit) {
        GTEST_SKIP() << "a wide character holds no such value here";
    }
    EXPECT_EQ(ToUtf16(Wide({0x110000, 0xFFFFFFFF})), u"\uFFFD\uFFFD");
}

}  // namespace
}  // namespace pkisdk
