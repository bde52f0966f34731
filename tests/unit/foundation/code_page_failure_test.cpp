// The platform's converters are replaced by ones that fail on order, so this is a program of its
// own.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "foundation/exception.h"
#include "foundation/string_utils.h"
#include "platform/cryptoapi.h"

namespace {

constexpr DWORD kReason = 0x12345;

int callsUntilFailure = 0;

int AnswerOrFail() {
    if (--callsUntilFailure == 0) {
        SetLastError(kReason);
        return 0;
    }
    return 1;
}

}  // namespace

extern "C" int WINAPI WideCharToMultiByte(UINT, DWORD, LPCWSTR, int, LPSTR, int, LPCSTR, LPBOOL) {
    return AnswerOrFail();
}

extern "C" int WINAPI MultiByteToWideChar(UINT, DWORD, LPCSTR, int, LPWSTR, int) {
    return AnswerOrFail();
}

namespace pkisdk {
namespace {

std::string FailureOf(int failingCall, const std::function<void()>& conversion) {
    callsUntilFailure = failingCall;
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
    EXPECT_EQ(FailureOf(1, convert), "StringUtils::ToString WideCharToMultiByte(1)");
    EXPECT_EQ(FailureOf(2, convert), "StringUtils::ToString WideCharToMultiByte(2)");
}

TEST(StringUtilsFailure, ToWStringNamesTheCallThatFailed) {
    const auto convert = [] { StringUtils::ToWString("x"); };
    EXPECT_EQ(FailureOf(1, convert), "StringUtils::ToWString MultiByteToWideChar(1)");
    EXPECT_EQ(FailureOf(2, convert), "StringUtils::ToWString MultiByteToWideChar(2)");
}

}  // namespace
}  // namespace pkisdk
