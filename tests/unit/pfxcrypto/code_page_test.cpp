// Passwords where the ANSI code page is an 8-bit one: a Cyrillic letter is one byte of it and two
// of UTF-8.
#include <gtest/gtest.h>

#include <string>

#include "derlist/der_parser.h"
#include "foundation/wide_to_ansi.h"
#include "pfxcrypto/password.h"
#include "pfxcrypto/pfx_constants.h"
#include "pfxcrypto/pfx_mac.h"
#include "pfxcrypto/session_key.h"
#include "support/code_page_settings.h"
#include "support/provider_fixture.h"
#include "support/reference_crypto.h"

namespace {

using pkisdk::Blob;
using pkisdk::kGost28147;
using pkisdk::kGostR3411_256;
using test_support::Bytes;

const test_support::ScopedSettings kSettings = test_support::UseCodePage(1251);

// "п" is 0xEF in code page 1251, and D0 BF in UTF-8.
std::string Letters(std::size_t count) {
    return std::string(count, '\xEF');
}
std::string Utf8Letters(std::size_t count) {
    std::string text;
    while (count-- > 0) {
        text += "\xD0\xBF";
    }
    return text;
}

class CodePage1251 : public test_support::ProviderTest {
  protected:
    void SetUp() override {
        ASSERT_EQ(GetACP(), 1251u);
        ProviderTest::SetUp();
    }
    int DeriveKey(const std::string& password) {
        return pkisdk::DerivePfxSessionKey(password.c_str(), provider_, kGost28147, kGostR3411_256,
                                           2, &key_, &salt_);
    }
    int ComputeMac(const std::string& password) {
        const Bytes covered = {0x30, 0x00};
        pkisdk::DerList list;
        pkisdk::ParseDerList(covered.data(), 2, &list);
        value_.Assign("12345678", 8);
        return pkisdk::ComputePfxMac(list, password.c_str(), provider_, kGostR3411_256, kGost28147,
                                     2, &value_);
    }

    HCRYPTKEY key_ = 0;
    Blob salt_;
    Blob value_;
};

TEST_F(CodePage1251, APasswordIsHashedAsUtf8) {
    Blob utf8;
    EXPECT_EQ(pkisdk::AnsiToUtf8Password(Letters(3).c_str(), &utf8), 6u);
    EXPECT_EQ(utf8, Blob("\xD0\xBF\xD0\xBF\xD0\xBF", 6));
    ASSERT_NE(ComputeMac(Letters(3)), 0);
    EXPECT_EQ(
        Bytes(value_.Bytes().begin(), value_.Bytes().end()),
        test_support::ReferencePfxMac(kGostR3411_256, Utf8Letters(3),
                                      {'1', '2', '3', '4', '5', '6', '7', '8'}, 2, {0x30, 0x00}));
}

TEST_F(CodePage1251, SixteenLettersAre32BytesOfUtf8AndAccepted) {
    EXPECT_NE(DeriveKey(Letters(16)), 0);
    CryptDestroyKey(key_);
    EXPECT_NE(ComputeMac(Letters(16)), 0);
}

TEST_F(CodePage1251, SixteenLettersAndOneOfAsciiAre33BytesOfUtf8AndRefused) {
    EXPECT_EQ(DeriveKey(Letters(16) + "a"), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PASSWORD));
    EXPECT_EQ(ComputeMac(Letters(16) + "a"), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PASSWORD));
}

TEST_F(CodePage1251, TwentyLettersPassTheFirstLimitAndFailTheSecond) {
    EXPECT_EQ(DeriveKey(Letters(20)), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PASSWORD));
    // The second limit comes after the key and the salt, and before the derivation.
    EXPECT_EQ(Calls().Count("CryptGenRandom"), 1);
    EXPECT_EQ(Calls().Count("CryptCreateHash"), 0);
    EXPECT_TRUE(salt_.IsEmpty());
    EXPECT_EQ(ComputeMac(Letters(20)), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PASSWORD));
}

TEST_F(CodePage1251, ThirtyThreeLettersFailTheFirstLimitBeforeAnyCall) {
    EXPECT_EQ(DeriveKey(Letters(33)), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PASSWORD));
    EXPECT_TRUE(Calls().Log().empty());
}

TEST_F(CodePage1251, WideTextBecomesItsBytes) {
    std::string ansi = "old";
    pkisdk::WideToAnsi(L"Пароль", &ansi);
    EXPECT_EQ(ansi, "\xCF\xE0\xF0\xEE\xEB\xFC");
    ExpectNothingOpen();
}

TEST_F(CodePage1251, ACharacterThatThePageLacksIsItsDefaultCharacterWithoutError) {
    std::string ansi;
    pkisdk::WideToAnsi(L"a\x65E5z", &ansi);
    EXPECT_EQ(ansi, "a?z");
}

TEST_F(CodePage1251, NullAndEmptyTextAreEmpty) {
    std::string ansi = "old";
    pkisdk::WideToAnsi(nullptr, &ansi);
    EXPECT_EQ(ansi, "");
    EXPECT_TRUE(Calls().Log().empty());
    ansi = "old";
    pkisdk::WideToAnsi(L"", &ansi);
    EXPECT_EQ(ansi, "");
}

TEST_F(CodePage1251, WideTextWithoutMemoryOrConversionIsEmptyAndNotReported) {
    for (const auto& [name, n] :
         {std::pair("HeapAlloc", 1), {"WideCharToMultiByte", 1}, {"WideCharToMultiByte", 2}}) {
        Calls().Reset();
        Calls().FailNamed(name, n, ERROR_INVALID_PARAMETER);
        std::string ansi = "old";
        pkisdk::WideToAnsi(L"text", &ansi);
        EXPECT_TRUE(Calls().Failed());
        EXPECT_EQ(ansi, "") << name << n;
        ExpectNothingOpen();
    }
}

}  // namespace
