#include "foundation/wide_to_ansi.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/cryptoapi.h"
#include "support/platform_calls.h"

namespace pkisdk {
namespace {

using test_support::PlatformCalls;

constexpr DWORD kReason = 0x12345;

std::string Ansi(const wchar_t* text) {
    std::string out = "before";
    WideToAnsi(text, &out);
    return out;
}

std::wstring Wide(const std::string& text) {
    std::wstring out = L"before";
    AnsiToWide(text, &out);
    return out;
}

class WideAndAnsi : public testing::Test {
  protected:
    void SetUp() override { PlatformCalls::Get().Reset(); }
};

TEST_F(WideAndAnsi, AsciiStaysWhatItIs) {
    EXPECT_EQ(Ansi(L"Password1"), "Password1");
    EXPECT_EQ(Wide("Password1"), L"Password1");
    EXPECT_EQ(Ansi(L"a"), "a");
    EXPECT_EQ(Wide("a"), L"a");
}

TEST_F(WideAndAnsi, NullAndEmptyTextGiveAnEmptyOne) {
    EXPECT_EQ(Ansi(nullptr), "");
    EXPECT_EQ(PlatformCalls::Get().Count("WideCharToMultiByte"), 0);
    EXPECT_EQ(Ansi(L""), "");
    EXPECT_EQ(Wide(""), L"");
}

TEST_F(WideAndAnsi, TextEndsAtItsTerminator) {
    EXPECT_EQ(Ansi(L"a\0b"), "a");
    EXPECT_EQ(Wide(std::string("a\0b", 3)), L"a");
}

TEST_F(WideAndAnsi, GiveBackTheirMemory) {
    Ansi(L"Password1");
    EXPECT_EQ(PlatformCalls::Get().Count("HeapAlloc"), 1);
    EXPECT_EQ(PlatformCalls::Get().OpenHeapBlocks(), 0);
}

TEST_F(WideAndAnsi, AreEmptyWhereACallFails) {
    for (const int number : {1, 2}) {
        PlatformCalls::Get().FailNamed("WideCharToMultiByte", number, kReason);
        EXPECT_EQ(Ansi(L"Password1"), "");
        PlatformCalls::Get().FailNamed("MultiByteToWideChar", number, kReason);
        EXPECT_EQ(Wide("Password1"), L"");
    }
    PlatformCalls::Get().FailNamed("HeapAlloc", 1, kReason);
    EXPECT_EQ(Ansi(L"Password1"), "");
}

TEST_F(WideAndAnsi, ShowNothingOfTheMemoryThatATextIsConvertedIn) {
    // More than the pieces that an allocator keeps apart.
    const std::wstring text(5000, L'x');
    void* const left = HeapAlloc(GetProcessHeap(), 0, text.size() + 1);
    ASSERT_NE(left, nullptr);
    std::memset(left, 's', text.size());
    HeapFree(GetProcessHeap(), 0, left);
    PlatformCalls::Get().Reset();
    PlatformCalls::Get().FailNamed("WideCharToMultiByte", 2, kReason);
    EXPECT_EQ(Ansi(text.c_str()), "");
}

}  // namespace
}  // namespace pkisdk
