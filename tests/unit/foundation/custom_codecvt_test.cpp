#include "foundation/custom_codecvt.h"

#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "platform/cryptoapi.h"
#include "support/scoped_environment.h"
#include "support/wide_text.h"

namespace tools2 {
namespace {

using Facet = CustomTCodeCvtWcharToChar;
using support::Wide;

constexpr const char* kKoi8r = "ru_RU.KOI8-R";

template <typename To>
struct Outcome {
    std::codecvt_base::result result;
    To text;
    // How much of the input it took.
    std::ptrdiff_t taken;
};

Outcome<std::string> Out(const std::string& locale, const std::wstring& text,
                         std::size_t room = 64) {
    const Facet facet(locale, 1);
    std::string bytes(room, '\0');
    std::mbstate_t state{};
    const wchar_t* fromNext = nullptr;
    char* toNext = nullptr;
    const auto result = facet.out(state, text.data(), text.data() + text.size(), fromNext,
                                  bytes.data(), bytes.data() + bytes.size(), toNext);
    bytes.resize(static_cast<std::size_t>(toNext - bytes.data()));
    return {result, bytes, fromNext - text.data()};
}

Outcome<std::wstring> In(const std::string& locale, std::string_view text, std::size_t room = 64) {
    const Facet facet(locale, 1);
    std::wstring wide(room, L'\0');
    std::mbstate_t state{};
    const char* fromNext = nullptr;
    wchar_t* toNext = nullptr;
    const auto result = facet.in(state, text.data(), text.data() + text.size(), fromNext,
                                 wide.data(), wide.data() + wide.size(), toNext);
    wide.resize(static_cast<std::size_t>(toNext - wide.data()));
    return {result, wide, fromNext - text.data()};
}

bool LibraryKnows(const char* locale) {
    try {
        return !std::locale(locale).name().empty();
    } catch (const std::runtime_error&) {
        return false;
    }
}

TEST(CustomTCodeCvtWcharToChar, ConvertsByTheCodePageOfTheNamedLocale) {
    const auto out = Out(kKoi8r, Wide({0x414, 0x430}));
    EXPECT_EQ(out.result, Facet::ok);
    EXPECT_EQ(out.text, "\xE4\xC1");
    EXPECT_EQ(out.taken, 2);
    const auto in = In(kKoi8r, "\xE4\xC1");
    EXPECT_EQ(in.result, Facet::ok);
    EXPECT_EQ(in.text, Wide({0x414, 0x430}));
    EXPECT_EQ(in.taken, 2);
}

TEST(CustomTCodeCvtWcharToChar, RoomThatIsJustEnoughWillDo) {
    // A locale that the library does not know, whose "C" conversion has no such letters.
    EXPECT_EQ(Out("x.KOI8-R", Wide({0x414, 0x430}), 2).text, "\xE4\xC1");
    EXPECT_EQ(In("x.KOI8-R", "\xE4\xC1", 2).text, Wide({0x414, 0x430}));
}

TEST(CustomTCodeCvtWcharToChar, EmbeddedNulsAreCharacters) {
    EXPECT_EQ(Out(kKoi8r, Wide({0, 0x414, 0})).text, std::string("\0\xE4\0", 3));
    EXPECT_EQ(In(kKoi8r, std::string_view("\0\xE4\0", 3)).text, Wide({0, 0x414, 0}));
}

TEST(CustomTCodeCvtWcharToChar, CharacterThatTheCodePageLacksGoesToTheLibrary) {
    // The library's "C" conversion, which stands behind a locale that is not installed, lacks it
    // too; the code page's own answer would have been a question mark.
    const std::string locale = LibraryKnows(kKoi8r) ? "x.KOI8-R" : kKoi8r;
    EXPECT_EQ(Out(locale, Wide({0x4E2D})).result, Facet::error);
}

TEST(CustomTCodeCvtWcharToChar, LocaleWithoutACodePageWritesIn437) {
    const auto out = Out("C", Wide({0xE9, 0xC7}));
    EXPECT_EQ(out.result, Facet::ok);
    EXPECT_EQ(out.text, "\x82\x80");
}

TEST(CustomTCodeCvtWcharToChar, AsciiIsOneByteACharacterInUtf8) {
    const auto out = Out("x.UTF-8", L"ABC");
    EXPECT_EQ(out.result, Facet::ok);
    EXPECT_EQ(out.text, "ABC");
    const auto in = In("x.UTF-8", "ABC");
    EXPECT_EQ(in.result, Facet::ok);
    EXPECT_EQ(in.text, L"ABC");
}

TEST(CustomTCodeCvtWcharToChar, CountThatDiffersFallsBackToTheLibrary) {
    if (!LibraryKnows("C.UTF-8")) {
        GTEST_SKIP() << "the C++ library has no UTF-8 locale here";
    }
    const auto out = Out("C.UTF-8", Wide({0x414, 0x1F600}));
    EXPECT_EQ(out.result, Facet::ok);
    EXPECT_EQ(out.text, "\xD0\x94\xF0\x9F\x98\x80");
    const auto in = In("C.UTF-8", "\xD0\x94\xF0\x9F\x98\x80");
    EXPECT_EQ(in.result, Facet::ok);
    EXPECT_EQ(in.text, Wide({0x414, 0x1F600}));
    // What the code page has a replacement for, and the library no character.
    EXPECT_EQ(In("C.UTF-8", "\xD0\x96\xFF").result, Facet::error);
}

TEST(CustomTCodeCvtWcharToChar, AsciiInUtf8LeavesTheLastError) {
    SetLastError(5);
    EXPECT_EQ(Out("x.UTF-8", L"ABC").text, "ABC");
    EXPECT_EQ(In("x.UTF-8", "ABC").text, L"ABC");
    EXPECT_EQ(GetLastError(), 5u);
}

TEST(CustomTCodeCvtWcharToChar, TooLittleRoomIsPartial) {
    const auto out = Out("C.1251", L"ABC", 2);
    EXPECT_EQ(out.result, Facet::partial);
    EXPECT_EQ(out.text, "AB");
    const auto in = In("C.1251", "ABC", 2);
    EXPECT_EQ(in.result, Facet::partial);
    EXPECT_EQ(in.text, L"AB");
}

TEST(CustomTCodeCvtWcharToChar, NoRoomTakesNothing) {
    // The platform takes no room for the question how much is needed.
    const auto out = Out("C.1251", L"ABC", 0);
    EXPECT_EQ(out.text, "");
    EXPECT_EQ(out.taken, 0);
    const auto in = In("C.1251", "ABC", 0);
    EXPECT_EQ(in.text, L"");
    EXPECT_EQ(in.taken, 0);
}

TEST(CustomTCodeCvtWcharToChar, EmptyTextIsDoneAtOnce) {
    EXPECT_EQ(Out(kKoi8r, L"").result, Facet::ok);
    EXPECT_EQ(In(kKoi8r, "").result, Facet::ok);
}

TEST(CustomTCodeCvtWcharToChar, MaximumLengthIsThatOfTheLocale) {
    EXPECT_EQ(Facet("x.KOI8-R", 1).max_length(), 1);
    EXPECT_EQ(Facet("x.932", 1).max_length(), 2);
    EXPECT_GE(Facet("C.UTF-8", 1).max_length(), 4);
}

TEST(CustomTCodeCvtWcharToChar, MaximumLengthIsEnoughForTheLibrarysConversion) {
    if (!LibraryKnows("C.UTF-8")) {
        GTEST_SKIP() << "the C++ library has no UTF-8 locale here";
    }
    const std::locale known("C.UTF-8");
    using OfLibrary = std::codecvt<wchar_t, char, std::mbstate_t>;
    EXPECT_GE(Facet("C.UTF-8", 1).max_length(), std::use_facet<OfLibrary>(known).max_length());
}

TEST(CustomTCodeCvtWcharToChar, ServesAStream) {
    const test_support::ScopedFolder folder;
    const auto file = folder / "text";
    {
        std::wofstream stream(file, std::ios::binary);
        stream.imbue(std::locale(std::locale::classic(), new Facet(kKoi8r)));
        stream << Wide({0x414, 0x430, '!'});
    }
    {
        std::ifstream stream(file, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
        EXPECT_EQ(bytes, "\xE4\xC1!");
    }
}

TEST(CustomTCodeCvtWcharToChar, LeavesTheProcessLocaleAlone) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const std::string global = std::locale().name();
    Out(kKoi8r, Wide({0x414}));
    In("C.UTF-8", "\xD0\x94");
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
    EXPECT_EQ(std::locale().name(), global);
}

}  // namespace
}  // namespace tools2
