// A verification context of the built provider, with the stand-ins reset around each test.
#pragma once

#include <gtest/gtest.h>

#include "platform/cryptoapi.h"
#include "support/platform_calls.h"

namespace test_support {

class ProviderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        Calls().Reset();
        ASSERT_TRUE(CryptAcquireContextA(
            &provider_, nullptr, "Velmorix Cryptographic Service Provider", 2, CRYPT_VERIFYCONTEXT))
            << std::hex << GetLastError();
        Calls().Reset();
    }
    void TearDown() override {
        Calls().Reset();
        CryptReleaseContext(provider_, 0);
    }

    static PlatformCalls& Calls() { return PlatformCalls::Get(); }
    static void ExpectNothingOpen() {
        EXPECT_EQ(Calls().OpenContexts(), 0);
        EXPECT_EQ(Calls().OpenKeys(), 0);
        EXPECT_EQ(Calls().OpenHashes(), 0);
        EXPECT_EQ(Calls().OpenRegistryKeys(), 0);
        EXPECT_EQ(Calls().OpenHeapBlocks(), 0);
    }

    HCRYPTPROV provider_ = 0;
};

}  // namespace test_support
