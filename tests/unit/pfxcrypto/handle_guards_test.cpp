#include "pfxcrypto/handle_guards.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/provider_fixture.h"

namespace {

std::vector<int> released;

struct NumberTraits {
    using Handle = int;
    static void Release(Handle handle) { released.push_back(handle); }
};
using Number = pkisdk::HandleGuard<NumberTraits>;

class HandleGuard : public testing::Test {
  protected:
    HandleGuard() { released.clear(); }
};

using Handles = std::vector<int>;

TEST_F(HandleGuard, ReleasesWhatItHoldsOnce) {
    {
        const Number guard(1);
        EXPECT_EQ(guard.Get(), 1);
        EXPECT_TRUE(guard);
        EXPECT_TRUE(released.empty());
    }
    EXPECT_EQ(released, Handles{1});
}

TEST_F(HandleGuard, ReleasesNothingWhereItHoldsNothing) {
    {
        Number guard;
        EXPECT_FALSE(guard);
        guard.Reset();
    }
    EXPECT_TRUE(released.empty());
}

TEST_F(HandleGuard, MovedIntoAnotherGivesItsHandleUp) {
    {
        Number first(1);
        const Number second(std::move(first));
        EXPECT_FALSE(first);
        EXPECT_EQ(second.Get(), 1);
    }
    EXPECT_EQ(released, Handles{1});
}

TEST_F(HandleGuard, AssignedReleasesWhatItHeld) {
    {
        Number guard(1);
        Number other(2);
        guard = std::move(other);
        EXPECT_EQ(released, Handles{1});
        EXPECT_FALSE(other);
        EXPECT_EQ(guard.Get(), 2);
    }
    EXPECT_EQ(released, (Handles{1, 2}));
}

TEST_F(HandleGuard, AssignedToItselfKeepsItsHandle) {
    Number guard(1);
    Number& same = guard;
    guard = std::move(same);
    EXPECT_EQ(guard.Get(), 1);
    EXPECT_TRUE(released.empty());
}

TEST_F(HandleGuard, FilledAnewReleasesWhatItHeldFirst) {
    Number guard(1);
    int* const place = guard.Put();
    EXPECT_EQ(released, Handles{1});
    EXPECT_EQ(*place, 0);
    *place = 2;
    EXPECT_EQ(guard.Get(), 2);
}

TEST_F(HandleGuard, ThatGaveItsHandleUpDoesNotReleaseIt) {
    {
        Number guard(1);
        EXPECT_EQ(guard.release(), 1);
        EXPECT_FALSE(guard);
    }
    EXPECT_TRUE(released.empty());
}

class PlatformHandles : public test_support::ProviderTest {};

TEST_F(PlatformHandles, OfTheProviderAreReleased) {
    {
        pkisdk::ProviderContext context;
        ASSERT_TRUE(CryptAcquireContextA(context.Put(), nullptr,
                                         "Velmorix Cryptographic Service Provider", 2,
                                         CRYPT_VERIFYCONTEXT));
        pkisdk::ProviderHash hash;
        ASSERT_TRUE(CryptCreateHash(context.Get(), 0x8021, 0, 0, hash.Put()));
        pkisdk::ProviderKey key;
        ASSERT_TRUE(CryptGenKey(context.Get(), 0x661E, 0, key.Put()));
        EXPECT_EQ(Calls().OpenContexts(), 1);
        EXPECT_EQ(Calls().OpenHashes(), 1);
        EXPECT_EQ(Calls().OpenKeys(), 1);
    }
    ExpectNothingOpen();
}

}  // namespace
