#include "capi/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <random>
#include <string>
#include <vector>

#include "capi/last_error.h"
#include "support/last_error.h"
#include "support/scoped_environment.h"

namespace {

using test_support::ScopedSettings;
using test_support::ScopedVariable;

std::wstring ToWide(UINT codePage, const std::string& text, DWORD flags = 0) {
    std::wstring wide(text.size() + 1, L'\0');
    const int count =
        MultiByteToWideChar(codePage, flags, text.data(), static_cast<int>(text.size()),
                            wide.data(), static_cast<int>(wide.size()));
    wide.resize(static_cast<std::size_t>(count));
    return wide;
}

std::string ToNarrow(UINT codePage, const std::wstring& text,
                     const char* defaultCharacter = nullptr, BOOL* usedDefault = nullptr) {
    std::string narrow(text.size() * 4, '\0');
    const int count =
        WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()), narrow.data(),
                            static_cast<int>(narrow.size()), defaultCharacter, usedDefault);
    narrow.resize(static_cast<std::size_t>(count));
    return narrow;
}

struct Sample {
    UINT codePage;
    std::wstring wide;
    std::string narrow;
};

// From the tables of the code pages, by hand.
const std::vector<Sample>& Samples() {
    static const std::vector<Sample> samples = {
        {1251, L"Привет, Ёё№", "\xCF\xF0\xE8\xE2\xE5\xF2, \xA8\xB8\xB9"},
        {866, L"Привет, Ёё№", "\x8F\xE0\xA8\xA2\xA5\xE2, \xF0\xF1\xFC"},
        {20866, L"Привет, Ёё", "\xF0\xD2\xC9\xD7\xC5\xD4, \xB3\xA3"},
        {21866, L"Їжак", "\xB7\xD6\xC1\xCB"},
        {28595, L"Привет, Ёё№", "\xBF\xE0\xD8\xD2\xD5\xE2, \xA1\xF1\xF0"},
        {1252, L"Grüße €", "Gr\xFC\xDF\x65 \x80"},
        {28591, L"Grüße", "Gr\xFC\xDF\x65"},
        {28605, L"Grüße €", "Gr\xFC\xDF\x65 \xA4"},
        {437, L"Grüße", "Gr\x81\xE1\x65"},
        {932, L"aテ日z", "a\x83\x65\x93\xFAz"},
        {936, L"中文", "\xD6\xD0\xCE\xC4"},
        {20127, L"plain", "plain"},
        {CP_UTF8, L"aß€\U0001F511", "a\xC3\x9F\xE2\x82\xAC\xF0\x9F\x94\x91"},
    };
    return samples;
}

TEST(MultiByteToWideChar, ConvertsFromEachKindOfCodePage) {
    for (const Sample& sample : Samples()) {
        EXPECT_EQ(ToWide(sample.codePage, sample.narrow), sample.wide) << sample.codePage;
    }
}

TEST(WideCharToMultiByte, ConvertsToEachKindOfCodePage) {
    for (const Sample& sample : Samples()) {
        EXPECT_EQ(ToNarrow(sample.codePage, sample.wide), sample.narrow) << sample.codePage;
    }
}

TEST(MultiByteToWideChar, KnowsEveryCodePageItNames) {
    for (const UINT page :
         {437U,   737U,   775U,   850U,   852U,   855U,   857U,   858U,   860U,   861U,
          862U,   863U,   864U,   865U,   866U,   869U,   874U,   932U,   936U,   949U,
          950U,   1250U,  1251U,  1252U,  1253U,  1254U,  1255U,  1256U,  1257U,  20127U,
          20866U, 21866U, 28591U, 28592U, 28593U, 28594U, 28595U, 28596U, 28597U, 28598U,
          28599U, 28603U, 28605U, 51932U, 51949U, 54936U, 65001U}) {
        EXPECT_EQ(ToWide(page, "Az09"), L"Az09") << page;
        EXPECT_EQ(ToNarrow(page, L"Az09"), "Az09") << page;
    }
}

TEST(MultiByteToWideChar, CountsTheTerminatorOnlyWithLengthMinusOne) {
    wchar_t out[8] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", -1, out, 8), 4);
    EXPECT_STREQ(out, L"abc");
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", 2, out, 8), 2);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "", -1, out, 8), 1);
    EXPECT_EQ(MultiByteToWideChar(1251, 0, "abc", -1, out, 8), 4);
}

TEST(WideCharToMultiByte, CountsTheTerminatorOnlyWithLengthMinusOne) {
    char out[8] = {};
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"abc", -1, out, 8, nullptr, nullptr), 4);
    EXPECT_STREQ(out, "abc");
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"abc", 2, out, 8, nullptr, nullptr), 2);
    EXPECT_EQ(WideCharToMultiByte(1251, 0, L"abc", -1, out, 8, nullptr, nullptr), 4);
}

TEST(MultiByteToWideChar, ConvertsTerminatorsInsideAGivenLength) {
    EXPECT_EQ(ToWide(CP_UTF8, std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
    EXPECT_EQ(ToWide(1251, std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(MultiByteToWideChar, WithRoomZeroAnswersTheSizeAndWritesNothing) {
    wchar_t out[2] = {L'x', L'x'};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "\xD0\x9F\xD1\x80", -1, out, 0), 3);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "\xD0\x9F\xD1\x80", -1, nullptr, 0), 3);
    EXPECT_EQ(out[0], L'x');
}

TEST(WideCharToMultiByte, WithRoomZeroAnswersTheSize) {
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"Пр", -1, nullptr, 0, nullptr, nullptr), 5);
    EXPECT_EQ(WideCharToMultiByte(1251, 0, L"Пр", -1, nullptr, 0, nullptr, nullptr), 3);
}

TEST(MultiByteToWideChar, FailsInABufferThatIsOneShort) {
    wchar_t out[4] = {L'x', L'x', L'x', L'x'};
    for (const UINT page : {UINT{CP_UTF8}, 1251U}) {
        EXPECT_EQ(MultiByteToWideChar(page, 0, "abc", -1, out, 4), 4);
        out[3] = L'x';
        EXPECT_FAILS_WITH(ERROR_INSUFFICIENT_BUFFER,
                          MultiByteToWideChar(page, 0, "abc", -1, out, 3));
        EXPECT_EQ(out[3], L'x');
    }
}

TEST(WideCharToMultiByte, FailsInABufferThatIsOneShort) {
    char out[4] = {'x', 'x', 'x', 'x'};
    for (const UINT page : {UINT{CP_UTF8}, 1251U}) {
        EXPECT_FAILS_WITH(ERROR_INSUFFICIENT_BUFFER,
                          WideCharToMultiByte(page, 0, L"abc", -1, out, 3, nullptr, nullptr));
        EXPECT_EQ(out[3], 'x');
    }
}

TEST(MultiByteToWideChar, RefusesBadArguments) {
    wchar_t out[4];
    const char* const text = "abc";
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, MultiByteToWideChar(CP_UTF8, 0, nullptr, 1, out, 4));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, MultiByteToWideChar(CP_UTF8, 0, text, 0, out, 4));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, MultiByteToWideChar(CP_UTF8, 0, text, -2, out, 4));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, MultiByteToWideChar(CP_UTF8, 0, text, 1, out, -1));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      MultiByteToWideChar(CP_UTF8, 0, text, 1, nullptr, 4));
    EXPECT_FAILS_WITH(
        ERROR_INVALID_PARAMETER,
        MultiByteToWideChar(CP_UTF8, 0, reinterpret_cast<const char*>(out), 1, out, 4));
}

TEST(MultiByteToWideChar, RefusesCodePagesThatAreNotThere) {
    wchar_t out[4];
    for (const UINT page : {2U, 42U, 1200U, 1201U, 1258U, 12000U, 65000U, 65002U, 0xFFFFFFFFU}) {
        EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, MultiByteToWideChar(page, 0, "a", 1, out, 4));
    }
}

TEST(MultiByteToWideChar, RefusesFlagsItDoesNotKnow) {
    wchar_t out[4];
    EXPECT_FAILS_WITH(ERROR_INVALID_FLAGS, MultiByteToWideChar(1251, 2, "a", 1, out, 4));
    EXPECT_FAILS_WITH(ERROR_INVALID_FLAGS,
                      MultiByteToWideChar(CP_UTF8, MB_PRECOMPOSED, "a", 1, out, 4));
    EXPECT_EQ(MultiByteToWideChar(1251, MB_PRECOMPOSED, "a", 1, out, 4), 1);
}

TEST(WideCharToMultiByte, RefusesBadArguments) {
    char out[4];
    BOOL used = FALSE;
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      WideCharToMultiByte(1251, 0, nullptr, 1, out, 4, nullptr, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      WideCharToMultiByte(1251, 0, L"a", 0, out, 4, nullptr, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      WideCharToMultiByte(1251, 0, L"a", 1, nullptr, 4, nullptr, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      WideCharToMultiByte(7, 0, L"a", 1, out, 4, nullptr, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      WideCharToMultiByte(CP_UTF8, 0, L"a", 1, out, 4, "?", nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      WideCharToMultiByte(CP_UTF8, 0, L"a", 1, out, 4, nullptr, &used));
    EXPECT_FAILS_WITH(ERROR_INVALID_FLAGS,
                      WideCharToMultiByte(CP_UTF8, 1, L"a", 1, out, 4, nullptr, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_FLAGS,
                      WideCharToMultiByte(1251, 0x200, L"a", 1, out, 4, nullptr, nullptr));
}

// The table of ill-formed sequences in the Unicode standard's section on UTF-8 and its neighbours.
TEST(MultiByteToWideChar, ReplacesEachMaximalIllFormedPart) {
    const struct {
        const char* narrow;
        const wchar_t* wide;
    } cases[] = {
        {"a\xF1\x80\x80\xE1\x80\xC2z\x80y\x80\xBFx", L"a���z�y��x"},
        {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", L"��������A"},
        {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", L"��������A"},
        {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", L"�����A��B"},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", L"����A"},
        {"\xC2", L"�"},
        {"\xF4\x8F\xBF\xBF", L"\U0010FFFF"},
        {"\xED\x9F\xBF\xEE\x80\x80", L"\xD7FF\xE000"},
    };
    for (const auto& sample : cases) {
        EXPECT_EQ(ToWide(CP_UTF8, sample.narrow), sample.wide) << sample.narrow;
    }
}

TEST(MultiByteToWideChar, RefusesInvalidBytesWhereAskedTo) {
    wchar_t out[8];
    EXPECT_FAILS_WITH(ERROR_NO_UNICODE_TRANSLATION,
                      MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "a\xFFz", 3, out, 8));
    EXPECT_FAILS_WITH(ERROR_NO_UNICODE_TRANSLATION,
                      MultiByteToWideChar(1251, MB_ERR_INVALID_CHARS, "a\x98z", 3, out, 8));
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "az", 2, out, 8), 2);
}

TEST(MultiByteToWideChar, ReplacesBytesThatTheCodePageLacks) {
    EXPECT_EQ(ToWide(1251, "a\x98z"), L"a�z");
    EXPECT_EQ(ToWide(20127, "a\xE9z"), L"a�z");
    EXPECT_EQ(ToWide(932, "a\x81"), L"a�");
}

TEST(WideCharToMultiByte, ReplacesCharactersThatTheCodePageLacks) {
    BOOL used = TRUE;
    EXPECT_EQ(ToNarrow(1251, L"Ж", nullptr, &used), "\xC6");
    EXPECT_FALSE(used);
    EXPECT_EQ(ToNarrow(1251, L"a日ü\U0001F511z", nullptr, &used), "a???z");
    EXPECT_TRUE(used);
    EXPECT_EQ(ToNarrow(1251, L"a日z", "_-", &used), "a_z");
    EXPECT_EQ(ToNarrow(932, L"aü", "\x81\x48", &used), "a\x81\x48");
    EXPECT_EQ(ToNarrow(932, L"aü", "_", &used), "a_");
}

TEST(WideCharToMultiByte, TellsOfReplacementsInASizeQueryToo) {
    BOOL used = FALSE;
    EXPECT_EQ(WideCharToMultiByte(1251, 0, L"日", 1, nullptr, 0, nullptr, &used), 1);
    EXPECT_TRUE(used);
}

TEST(WideCharToMultiByte, TakesSurrogatesAndWhatIsNoUnicodeForCharactersThatNobodyHas) {
    const std::wstring text = {L'a',
                               static_cast<wchar_t>(0xD800),
                               static_cast<wchar_t>(0xDFFF),
                               static_cast<wchar_t>(0x110000),
                               static_cast<wchar_t>(-1),
                               L'z'};
    EXPECT_EQ(ToNarrow(CP_UTF8, text), "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDz");
    EXPECT_EQ(ToNarrow(1251, text), "a????z");
    char out[8];
    EXPECT_FAILS_WITH(ERROR_NO_UNICODE_TRANSLATION,
                      WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), 2, out, 8,
                                          nullptr, nullptr));
}

TEST(TextConversion, BringsAnyUnicodeTextBackThroughUtf8) {
    std::mt19937 random(20101);
    std::uniform_int_distribution<int> plane(0, 3);
    for (int round = 0; round < 2000; ++round) {
        std::wstring text;
        for (int i = 0; i < 20; ++i) {
            constexpr unsigned kLimits[] = {0x80, 0x800, 0xD800, 0x110000};
            const unsigned limit = kLimits[plane(random)];
            auto character = static_cast<wchar_t>(random() % limit);
            if (character >= 0xD800 && character <= 0xDFFF) {
                character = L'x';
            }
            text.push_back(character);
        }
        const std::string narrow = ToNarrow(CP_UTF8, text);
        ASSERT_EQ(ToWide(CP_UTF8, narrow, MB_ERR_INVALID_CHARS), text);
    }
}

TEST(TextConversion, LeavesTheLastErrorAloneOnSuccess) {
    SetLastError(4711);
    EXPECT_EQ(ToWide(CP_UTF8, "abc"), L"abc");
    EXPECT_EQ(ToNarrow(1251, L"日"), "?");
    EXPECT_EQ(GetLastError(), 4711U);
}

class AnsiCodePage : public testing::Test {
  protected:
    ScopedSettings settings_;
    ScopedVariable lcAll_{"LC_ALL", std::nullopt};
    ScopedVariable lcCtype_{"LC_CTYPE", std::nullopt};
    ScopedVariable lang_{"LANG", std::nullopt};
};

TEST_F(AnsiCodePage, IsTheOneThatTheLocaleNames) {
    const struct {
        const char* locale;
        UINT codePage;
    } cases[] = {
        {"ru_RU.KOI8-R", 20866},
        {"uk_UA.KOI8-U", 21866},
        {"ru_RU.CP1251", 1251},
        {"be_BY.cp1251@latin", 1251},
        {"ru_RU.windows-1251", 1251},
        {"ru_RU.IBM866", 866},
        {"ru_RU.ISO-8859-5", 28595},
        {"ru_RU.iso88595", 28595},
        {"de_DE.ISO-8859-15@euro", 28605},
        {"ja_JP.eucJP", 51932},
        {"ja_JP.SJIS", 932},
        {"zh_CN.GB18030", 54936},
        {"ko_KR.eucKR", 51949},
        {"en_US.UTF-8", CP_UTF8},
        {"C.UTF-8", CP_UTF8},
        {"en_US.utf8@posix", CP_UTF8},
        {"C", CP_UTF8},
        {"POSIX", CP_UTF8},
        {"ru_RU", CP_UTF8},
        {"ru_RU.", CP_UTF8},
        {"ru_RU.no-such-page", CP_UTF8},
        {"ru_RU.cp99999999999999999999", CP_UTF8},
        {"ru_RU.ISO-8859-99", CP_UTF8},
        {"../../etc/passwd", CP_UTF8},
    };
    for (const auto& sample : cases) {
        const ScopedVariable locale("LC_ALL", sample.locale);
        EXPECT_EQ(GetACP(), sample.codePage) << sample.locale;
    }
}

TEST_F(AnsiCodePage, FollowsTheFirstVariableThatSaysSomething) {
    EXPECT_EQ(GetACP(), UINT{CP_UTF8});
    const ScopedVariable lang("LANG", "ru_RU.KOI8-R");
    EXPECT_EQ(GetACP(), 20866U);
    const ScopedVariable ctype("LC_CTYPE", "ru_RU.CP1251");
    EXPECT_EQ(GetACP(), 1251U);
    const ScopedVariable emptyAll("LC_ALL", "");
    EXPECT_EQ(GetACP(), 1251U);
    const ScopedVariable all("LC_ALL", "C");
    EXPECT_EQ(GetACP(), UINT{CP_UTF8});
}

TEST_F(AnsiCodePage, IsUsedForTheNumbersThatMeanIt) {
    const ScopedVariable locale("LC_ALL", "ru_RU.CP1251");
    for (const UINT number : {UINT{CP_ACP}, UINT{CP_OEMCP}, UINT{CP_THREAD_ACP}}) {
        EXPECT_EQ(ToWide(number, "\xC6"), L"Ж");
        EXPECT_EQ(ToNarrow(number, L"Ж日"), "\xC6?");
    }
}

TEST_F(AnsiCodePage, IsConvertedWithoutTouchingTheLocaleOfTheProcess) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const ScopedVariable locale("LC_ALL", "ru_RU.CP1251");
    EXPECT_EQ(ToWide(CP_ACP, "\xC6"), L"Ж");
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

TEST_F(AnsiCodePage, OfUtf8TakesADefaultCharacterItHasNoUseFor) {
    BOOL used = TRUE;
    EXPECT_EQ(ToNarrow(CP_ACP, L"Ж", "?", &used), "\xD0\x96");
    EXPECT_FALSE(used);
}

TEST_F(AnsiCodePage, IsTheOneOfTheSettingsBeforeTheLocales) {
    const ScopedVariable locale("LC_ALL", "ru_RU.KOI8-R");
    const std::string key = R"(['SYSTEM\CurrentControlSet\Control\Nls\CodePage'])";
    const struct {
        const char* value;
        UINT codePage;
    } cases[] = {
        {"ACP = '1251'", 1251},   {"ACP = 866", 866},          {"acp = 65001", CP_UTF8},
        {"ACP = '65001'", 65001}, {"ACP = 12345", 20866},      {"ACP = 'UTF-8'", 20866},
        {"ACP = ''", 20866},      {"ACP = 4294968547", 20866}, {"ACP = ['1251']", 20866},
        {"ACP = 0", 20866},       {"ACP = '01251000'", 20866},
    };
    for (const auto& sample : cases) {
        settings_.Write(key + "\n" + sample.value + "\n");
        EXPECT_EQ(GetACP(), sample.codePage) << sample.value;
    }
}

}  // namespace
