#include "pfxcrypto/password.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/cryptoapi.h"
#include "support/platform_calls.h"

namespace {

using pkisdk::AnsiToUtf8Password;
using pkisdk::Blob;
using test_support::PlatformCalls;

class AnsiToUtf8PasswordTest : public ::testing::Test {
  protected:
    void SetUp() override { PlatformCalls::Get().Reset(); }
    void TearDown() override {
        EXPECT_EQ(PlatformCalls::Get().OpenHeapBlocks(), 0);
        PlatformCalls::Get().Reset();
    }
};

std::string TextOf(const Blob& blob) {
    return {blob.Bytes().begin(), blob.Bytes().end()};
}

TEST_F(AnsiToUtf8PasswordTest, AsciiStaysAsItIs) {
    Blob utf8;
    EXPECT_EQ(AnsiToUtf8Password("Password1", &utf8), 9u);
    EXPECT_EQ(TextOf(utf8), "Password1");
}

TEST_F(AnsiToUtf8PasswordTest, EmptyTextGivesNoBytesAndNoCall) {
    for (const char* const password : {"", static_cast<const char*>(nullptr)}) {
        Blob utf8("old", 3);
        EXPECT_EQ(AnsiToUtf8Password(password, &utf8), 0u);
        EXPECT_TRUE(utf8.IsEmpty());
    }
    EXPECT_TRUE(PlatformCalls::Get().Log().empty());
}

TEST_F(AnsiToUtf8PasswordTest, NoMemoryForTheWideCopyAnswersZero) {
    PlatformCalls::Get().FailNamed("HeapAlloc", 1, 0);
    Blob utf8;
    EXPECT_EQ(AnsiToUtf8Password("abc", &utf8), 0u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
}

TEST_F(AnsiToUtf8PasswordTest, NoMemoryForTheBytesAnswersTheCountAndLeavesTheBlobEmpty) {
    PlatformCalls::Get().FailNamed("HeapAlloc", 2, 0);
    Blob utf8("old", 3);
    EXPECT_EQ(AnsiToUtf8Password("abc", &utf8), 3u);
    EXPECT_TRUE(utf8.IsEmpty());
}

TEST_F(AnsiToUtf8PasswordTest, AFailedConversionGivesNoBytes) {
    for (int n = 1; n <= 2; ++n) {
        PlatformCalls::Get().Reset();
        PlatformCalls::Get().FailNamed("MultiByteToWideChar", n, ERROR_INVALID_PARAMETER);
        Blob utf8;
        EXPECT_EQ(AnsiToUtf8Password("abc", &utf8), 0u) << n;
        EXPECT_TRUE(utf8.IsEmpty()) << n;
        PlatformCalls::Get().Reset();
        PlatformCalls::Get().FailNamed("WideCharToMultiByte", n, ERROR_INVALID_PARAMETER);
        AnsiToUtf8Password("abc", &utf8);
        EXPECT_TRUE(utf8.IsEmpty()) << n;
    }
}

}  // namespace
