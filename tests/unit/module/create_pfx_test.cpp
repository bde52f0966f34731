#include <gtest/gtest.h>

#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/export_fixture.h"

namespace {

using test_support::Chain;
using test_support::KeyBlob;
using test_support::kInjected;

constexpr BYTE kUntouched = 0xC5;
constexpr DWORD kCountBefore = 77;

class UzCreatePFXTest : public test_support::ExportTest {
  protected:
    void AddKey() {
        AddScripted(Chain().leaf, L"key", {.blob = KeyBlob(std::vector<BYTE>(60, 7))});
    }
    BOOL Create(BYTE* data, DWORD* count, LPCWSTR password = L"Password1", DWORD flags = 0) {
        PfxBlob pfx{*count, data};
        SetLastError(kInjected);
        const BOOL answer = UzCreatePFX(store_.Get(), &pfx, password, flags);
        *count = pfx.cbData;
        EXPECT_EQ(pfx.pbData, data);
        return answer;
    }
    DWORD AskSize(DWORD flags = 0) {
        DWORD count = kCountBefore;
        EXPECT_EQ(Create(nullptr, &count, L"Password1", flags), TRUE);
        EXPECT_EQ(GetLastError(), 0u);
        return count;
    }
    BOOL Verify(std::vector<BYTE> document, LPCWSTR password) {
        const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
        return UzVerifyPswPFX(&pfx, password);
    }
};

TEST_F(UzCreatePFXTest, WithoutABufferAnyCountBecomesTheSize) {
    AddKey();
    const DWORD size = AskSize();
    EXPECT_GT(size, 500u);
    for (DWORD count : {0U, 1U, 0xFFFFFFFFU}) {
        EXPECT_EQ(Create(nullptr, &count), TRUE);
        EXPECT_EQ(GetLastError(), 0u);
        EXPECT_EQ(count, size);
    }
}

TEST_F(UzCreatePFXTest, TheSizeTakesNoKeyOutOfTheProvider) {
    AddKey();
    const auto taken = [] {
        int count = 0;
        for (std::size_t i = 0; i < Calls().Log().size(); ++i) {
            count += Calls().Log()[i] == "CryptExportKey" && Calls().Details()[i].hasBuffer ? 1 : 0;
        }
        return count;
    };
    // Salts under which the document is made once.
    Calls().ReplaceRandom(0x51);
    std::vector<BYTE> document(AskSize());
    EXPECT_EQ(taken(), 0);
    auto count = static_cast<DWORD>(document.size());
    EXPECT_EQ(Create(document.data(), &count), TRUE);
    EXPECT_EQ(taken(), 1);
}

TEST_F(UzCreatePFXTest, ABufferOfExactlyTheSizeTakesTheDocument) {
    AddKey();
    std::vector<BYTE> document(AskSize());
    auto count = static_cast<DWORD>(document.size());
    EXPECT_EQ(Create(document.data(), &count), TRUE);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(count, document.size());
    EXPECT_EQ(Verify(document, L"Password1"), TRUE);
    EXPECT_EQ(Verify(document, L"Password2"), FALSE);
}

TEST_F(UzCreatePFXTest, OneByteLessIsToldTheSizeAndTheBufferIsUntouched) {
    AddKey();
    const DWORD size = AskSize();
    for (const DWORD room : {size - 1, DWORD{0}}) {
        std::vector<BYTE> buffer(size, kUntouched);
        DWORD count = room;
        EXPECT_EQ(Create(buffer.data(), &count), FALSE);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
        EXPECT_EQ(count, size);
        EXPECT_EQ(buffer, std::vector<BYTE>(size, kUntouched));
    }
}

TEST_F(UzCreatePFXTest, ALargerBufferIsTakenAndTheCountShrinks) {
    AddKey();
    const DWORD size = AskSize();
    std::vector<BYTE> buffer(size + 10, kUntouched);
    DWORD count = size + 10;
    EXPECT_EQ(Create(buffer.data(), &count), TRUE);
    EXPECT_EQ(count, size);
    EXPECT_EQ(buffer[0], 0x30);
    EXPECT_EQ(std::vector<BYTE>(buffer.begin() + size, buffer.end()),
              std::vector<BYTE>(10, kUntouched));
}

TEST_F(UzCreatePFXTest, TwoCallsGiveDifferentBytes) {
    AddKey();
    std::vector<BYTE> first(AskSize());
    std::vector<BYTE> second(first.size());
    auto count = static_cast<DWORD>(first.size());
    EXPECT_EQ(Create(first.data(), &count), TRUE);
    EXPECT_EQ(Create(second.data(), &count), TRUE);
    EXPECT_NE(first, second);
}

TEST_F(UzCreatePFXTest, ANullPasswordIsAnEmptyOne) {
    AddKey();
    for (const LPCWSTR password : {static_cast<LPCWSTR>(nullptr), L""}) {
        DWORD count = kCountBefore;
        EXPECT_EQ(Create(nullptr, &count, password), FALSE);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PASSWORD));
        EXPECT_EQ(count, kCountBefore);
    }
}

TEST_F(UzCreatePFXTest, APasswordOutsideAsciiFitsItsDocument) {
    AddKey();
    std::vector<BYTE> document(AskSize());
    auto count = static_cast<DWORD>(document.size());
    EXPECT_EQ(Create(document.data(), &count, L"Пароль"), TRUE);
    EXPECT_EQ(Verify(document, L"Пароль"), TRUE);
    EXPECT_EQ(Verify(document, L"пароль"), FALSE);
}

TEST_F(UzCreatePFXTest, TheFlagsReachTheDriver) {
    AddKey();
    EXPECT_GT(AskSize(0x10), AskSize());
}

TEST_F(UzCreatePFXTest, AStoreThatIsMissingOrEmptyIsTheDriversError) {
    DWORD count = kCountBefore;
    EXPECT_EQ(Create(nullptr, &count), FALSE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_INVALID_PARAMETER));
    EXPECT_EQ(count, kCountBefore);
    PfxBlob pfx{kCountBefore, nullptr};
    EXPECT_FAILS_WITH(NTE_INVALID_PARAMETER, UzCreatePFX(nullptr, &pfx, L"Password1", 0));
    EXPECT_EQ(pfx.cbData, kCountBefore);
}

TEST_F(UzCreatePFXTest, AFailureLeavesBufferAndCountAlone) {
    AddKey();
    Calls().FailNamed("CryptEncrypt", 1, kInjected);
    std::vector<BYTE> buffer(5000, kUntouched);
    DWORD count = 5000;
    EXPECT_EQ(Create(buffer.data(), &count), FALSE);
    EXPECT_EQ(GetLastError(), kInjected);
    EXPECT_EQ(count, 5000u);
    EXPECT_EQ(buffer, std::vector<BYTE>(5000, kUntouched));
}

TEST_F(UzCreatePFXTest, AFailureWithoutAWordIsReadAsNone) {
    AddKey();
    for (const char* const call : {"CryptGetProvParam", "CryptExportKey", "CryptEncrypt"}) {
        SCOPED_TRACE(call);
        Calls().Reset();
        Calls().FailNamed(call, 1, 0);
        std::vector<BYTE> buffer(5000, kUntouched);
        DWORD count = 5000;
        EXPECT_EQ(Create(buffer.data(), &count), TRUE);
        EXPECT_EQ(GetLastError(), 0u);
        EXPECT_EQ(count, 5000u);
        EXPECT_EQ(buffer, std::vector<BYTE>(5000, kUntouched));
    }
}

}  // namespace
