#include "foundation/locale_code_page.h"

#include <gtest/gtest.h>

#include "platform/cryptoapi.h"

namespace tools2 {
namespace {

TEST(LocaleCodePage, EmptyNameIsTheUsersLocale) {
    EXPECT_EQ(CodePageOfLocale(""), GetACP());
}

TEST(LocaleCodePage, NameEndsInTheCodePage) {
    EXPECT_EQ(CodePageOfLocale("Russian_Russia.1251"), 1251U);
    EXPECT_EQ(CodePageOfLocale(".866"), 866U);
    EXPECT_EQ(CodePageOfLocale("ru_RU.CP1251"), 1251U);
    EXPECT_EQ(CodePageOfLocale("ru_RU.WINDOWS-1251"), 1251U);
    EXPECT_EQ(CodePageOfLocale("ru_RU.KOI8-R"), 20866U);
    EXPECT_EQ(CodePageOfLocale("uk_UA.koi8u"), 21866U);
    EXPECT_EQ(CodePageOfLocale("ru_RU.ISO-8859-5"), 28595U);
    EXPECT_EQ(CodePageOfLocale("de_DE.iso885915@euro"), 28605U);
    EXPECT_EQ(CodePageOfLocale("C.UTF-8"), 65001U);
    EXPECT_EQ(CodePageOfLocale("en_US.utf8@posix"), 65001U);
}

TEST(LocaleCodePage, OnlyLettersAndDigitsOfTheCodesetCount) {
    EXPECT_EQ(CodePageOfLocale("ru_RU.ISO_8859:5"), 28595U);
    EXPECT_EQ(CodePageOfLocale("ru_RU.{cp 1251}"), 1251U);
    EXPECT_EQ(CodePageOfLocale("en_US.UTF\xE2\x80\x90"
                               "8"),
              65001U);
}

TEST(LocaleCodePage, NameWithoutAKnownCodePageHasNone) {
    for (const char* const name : {"C", "POSIX", "ru_RU", "ru_RU.", "ru_RU.@euro", "x.latin",
                                   "x.iso8859-", "x.123456", "x.cp12a", "x.windows-"}) {
        EXPECT_EQ(CodePageOfLocale(name), 0U) << name;
    }
}

TEST(LocaleCodePage, BytesPerCharacter) {
    EXPECT_EQ(BytesPerCharacter(1251), 1);
    EXPECT_EQ(BytesPerCharacter(932), 2);
    EXPECT_EQ(BytesPerCharacter(51932), 3);
    EXPECT_EQ(BytesPerCharacter(54936), 4);
    EXPECT_EQ(BytesPerCharacter(65001), 4);
}

TEST(LocaleCodePage, ACodesetOfFiveDigitsIsItsNumber) {
    EXPECT_EQ(tools2::CodePageOfLocale("x.20866"), 20866u);
}

TEST(LocaleCodePage, ALetterAfterAKnownCodesetMakesItUnknown) {
    EXPECT_EQ(tools2::CodePageOfLocale("x.UTF-8A"), 0u);
    EXPECT_EQ(tools2::CodePageOfLocale("x.UTF-8a"), 0u);
}

TEST(LocaleCodePage, TheDoubleByteCodePagesHaveTwoBytes) {
    for (const std::uint32_t codePage : {932U, 936U, 949U, 950U, 51949U}) {
        EXPECT_EQ(tools2::BytesPerCharacter(codePage), 2) << codePage;
    }
    EXPECT_EQ(tools2::BytesPerCharacter(1251), 1);
}

}  // namespace
}  // namespace tools2
