// Contexts, through the provider's entry points.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "csp.h"
#include "provider/objects.h"
#include "support/csp_guards.h"
#include "support/last_error.h"

namespace {

BOOL Acquire(HCRYPTPROV* context, const char* container, DWORD flags) {
    VTableProvStruc caller{};
    return CPAcquireContext(context, container, flags, &caller);
}

class ProviderContext : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(Acquire(&context_, nullptr, CRYPT_VERIFYCONTEXT)); }
    void TearDown() override { CPReleaseContext(context_, 0); }

    HCRYPTPROV context_ = 0;
};

TEST_F(ProviderContext, OpensForVerificationWithoutAContainer) {
    for (const DWORD extra : {DWORD{0}, DWORD{CRYPT_SILENT}, DWORD{CRYPT_MACHINE_KEYSET}}) {
        for (const char* const container : {static_cast<const char*>(nullptr), ""}) {
            HCRYPTPROV context = 0;
            EXPECT_TRUE(Acquire(&context, container, CRYPT_VERIFYCONTEXT | extra));
            EXPECT_TRUE(CPReleaseContext(context, 0));
        }
    }
}

TEST_F(ProviderContext, IsRefusedForFlagsThatDoNotGoTogether) {
    HCRYPTPROV context = 0;
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, Acquire(&context, "some", CRYPT_VERIFYCONTEXT));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS,
                      Acquire(&context, nullptr, CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS,
                      Acquire(&context, nullptr, CRYPT_VERIFYCONTEXT | CRYPT_DELETEKEYSET));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, Acquire(&context, nullptr, CRYPT_VERIFYCONTEXT | 1));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, Acquire(&context, nullptr, 0x80000000));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, Acquire(nullptr, nullptr, CRYPT_VERIFYCONTEXT));
}

TEST_F(ProviderContext, TellsWhatTheProviderIs) {
    std::array<char, 64> name{};
    DWORD size = name.size();
    EXPECT_TRUE(CPGetProvParam(context_, PP_NAME, reinterpret_cast<BYTE*>(name.data()), &size, 0));
    EXPECT_STREQ(name.data(), test_support::kProviderName);
    EXPECT_EQ(size, std::string(test_support::kProviderName).size() + 1);
    const struct {
        DWORD parameter;
        DWORD value;
    } numbers[] = {{PP_PROVTYPE, 2}, {PP_VERSION, 1}, {PP_IMPTYPE, CRYPT_IMPL_SOFTWARE}};
    for (const auto& expected : numbers) {
        DWORD number = 0;
        size = sizeof(number);
        EXPECT_TRUE(CPGetProvParam(context_, expected.parameter, reinterpret_cast<BYTE*>(&number),
                                   &size, 0));
        EXPECT_EQ(number, expected.value);
    }
}

TEST_F(ProviderContext, GivesTheErrorWordsOfItsParameters) {
    std::array<BYTE, 4> out{};
    DWORD size = 3;
    EXPECT_FAILS_WITH(ERROR_MORE_DATA, CPGetProvParam(context_, PP_PROVTYPE, out.data(), &size, 0));
    EXPECT_EQ(size, 4U);
    EXPECT_TRUE(CPGetProvParam(context_, PP_PROVTYPE, nullptr, &size, 0));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPGetProvParam(context_, PP_PROVTYPE, out.data(), nullptr, 0));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPGetProvParam(context_, PP_PROVTYPE, out.data(), &size, 1));
    for (const DWORD parameter : {DWORD{PP_CONTAINER}, DWORD{PP_UNIQUE_CONTAINER}, DWORD{220}}) {
        EXPECT_FAILS_WITH(NTE_BAD_TYPE, CPGetProvParam(context_, parameter, nullptr, &size, 0));
    }
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, CPSetProvParam(context_, PP_SIGNATURE_PIN, out.data(), 0));
}

TEST_F(ProviderContext, IsRefusedUnderAHandleThatIsNone) {
    HCRYPTPROV freed = 0;
    ASSERT_TRUE(Acquire(&freed, nullptr, CRYPT_VERIFYCONTEXT));
    ASSERT_TRUE(CPReleaseContext(freed, 0));
    std::array<BYTE, 4> out{};
    DWORD size = out.size();
    for (const HCRYPTPROV bad : {HCRYPTPROV{0}, HCRYPTPROV{1}, ~HCRYPTPROV{0}, freed}) {
        EXPECT_FAILS_WITH(NTE_BAD_UID, CPGetProvParam(bad, PP_PROVTYPE, out.data(), &size, 0));
        EXPECT_FAILS_WITH(NTE_BAD_UID, CPSetProvParam(bad, PP_PROVTYPE, out.data(), 0));
        EXPECT_FAILS_WITH(NTE_BAD_UID, CPGenRandom(bad, 4, out.data()));
        EXPECT_FAILS_WITH(NTE_BAD_UID, CPReleaseContext(bad, 0));
    }
}

TEST_F(ProviderContext, IsReleasedInSpiteOfFlags) {
    HCRYPTPROV context = 0;
    ASSERT_TRUE(Acquire(&context, nullptr, CRYPT_VERIFYCONTEXT));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPReleaseContext(context, 1));
    EXPECT_FAILS_WITH(NTE_BAD_UID, CPReleaseContext(context, 0));
}

TEST_F(ProviderContext, FillsWithRandomBytes) {
    std::vector<BYTE> first(1000);
    std::vector<BYTE> second(1000);
    ASSERT_TRUE(CPGenRandom(context_, 1000, first.data()));
    ASSERT_TRUE(CPGenRandom(context_, 1000, second.data()));
    EXPECT_NE(first, second);
    std::array<bool, 256> seen{};
    for (const BYTE byte : first) {
        seen[byte] = true;
    }
    // With 1000 draws from 256 values, fewer than 200 different ones do not happen by chance.
    EXPECT_GT(std::count(seen.begin(), seen.end(), true), 200);
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, CPGenRandom(context_, 4, nullptr));
}

// What it released last is not left for the release of another context to wipe.
TEST_F(ProviderContext, EndsItsKeyWhenTheWorkOnThatIsDone) {
    HCRYPTPROV context = 0;
    HCRYPTKEY key = 0;
    ASSERT_TRUE(Acquire(&context, nullptr, CRYPT_VERIFYCONTEXT));
    ASSERT_TRUE(CPGenKey(context, test_support::kGost28147, 0, &key));
    std::atomic<bool> isLeased = false;
    std::thread worker([&] {
        const provider::KeyTable::Lease lease = provider::KeyTable::Lock(key);
        isLeased = true;
        while (provider::ContextTable::IsValid(context)) {
            std::this_thread::yield();
        }
        // The release goes on to the keys meanwhile.
        for (int i = 0; i < 10'000; ++i) {
            std::this_thread::yield();
        }
    });
    while (!isLeased) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(CPReleaseContext(context, 0));
    EXPECT_FALSE(provider::KeyTable::IsValid(key));
    worker.join();
}

}  // namespace
