// What is left where memory runs out: a program of its own, whose allocations fail on demand.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <new>
#include <string>

#include "csp.h"
#include "provider/container_store.h"
#include "support/container_home.h"
#include "support/failing_allocator.h"

namespace {

using provider::Container;
using provider::ContainerScope;
using provider::SecretBytes;

// Runs `work` with its first allocation failing, its second, and so on until none is left to fail,
// then without; `check` after each, told whether `work` succeeded. Answers how many made it fail.
int FailEveryAllocation(const std::function<bool()>& work, const std::function<void(bool)>& check) {
    int failures = 0;
    for (std::size_t number = 1;; ++number) {
        bool happened = false;
        bool isDone = false;
        {
            const allocation::FailOne fail(number);
            isDone = work();
            happened = fail.Happened();
        }
        check(isDone);
        failures += isDone ? 0 : 1;
        if (!happened) {
            EXPECT_TRUE(isDone);
            return failures;
        }
    }
}

TEST(ContainerWithoutMemory, IsNotMadeWhereItsContextIsNotOpened) {
    const test_support::ContainerHome home;
    HCRYPTPROV context = 0;
    const int failures = FailEveryAllocation(
        [&] {
            VTableProvStruc caller{};
            context = 0;
            return CPAcquireContext(&context, "mine", CRYPT_NEWKEYSET, &caller) != FALSE;
        },
        [&](bool isDone) {
            EXPECT_EQ(home.FilesOfUser().size(), isDone ? 1U : 0U);
            if (!isDone) {
                EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_NO_MEMORY));
                EXPECT_EQ(context, 0U);
                return;
            }
            EXPECT_TRUE(CPReleaseContext(context, 0));
            EXPECT_TRUE(CPAcquireContext(&context, "mine", CRYPT_DELETEKEYSET, nullptr));
        });
    EXPECT_GT(failures, 5);
}

TEST(ContainerWithoutMemory, KeepsItsOldKeyWhereTheNewIsNotWritten) {
    const test_support::ContainerHome home;
    std::shared_ptr<Container> container;
    ASSERT_EQ(provider::CreateContainer(ContainerScope::kUser, "mine", true, &container), S_OK);
    const BYTE oldKey[] = {1, 2, 3};
    const BYTE newKey[] = {4, 5, 6};
    const auto write = [&](std::span<const BYTE> key) {
        const provider::KeyRecord record = {0x2E49, 7, {key.begin(), key.end()}, {}};
        return container->WriteKey(AT_SIGNATURE, record, key);
    };
    ASSERT_EQ(write(oldKey), S_OK);
    const int failures = FailEveryAllocation(
        [&] {
            try {
                return write(newKey) == S_OK;
            } catch (const std::bad_alloc&) {
                return false;
            }
        },
        [&](bool isDone) {
            SecretBytes secret;
            ASSERT_EQ(container->ReadPrivateKey(AT_SIGNATURE, &secret), S_OK);
            EXPECT_TRUE(std::ranges::equal(secret.View(), isDone ? newKey : oldKey));
            ASSERT_EQ(write(oldKey), S_OK);
            EXPECT_EQ(home.FilesOfUser().size(), 1U);
        });
    EXPECT_GT(failures, 5);
}

}  // namespace
