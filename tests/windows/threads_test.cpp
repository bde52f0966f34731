#include <gtest/gtest.h>

#include "mvlpfx/handles.h"

namespace windows_tests {
namespace {

using mvlpfx::OwnedContext;

DWORD WINAPI MakeHash(void* /*none*/) {
    OwnedContext context;
    mvlpfx::Owned<HCRYPTHASH, CryptDestroyHash> hash;
    return mvlpfx::AcquireContext(nullptr, CRYPT_VERIFYCONTEXT, false, &context) &&
           CryptCreateHash(context.Get(), 0x8021, 0, 0, hash.Fill());
}

bool RunInThread() {
    constexpr DWORD kPatience = 600'000;
    const HANDLE thread = CreateThread(nullptr, 0, MakeHash, nullptr, 0, nullptr);
    DWORD answer = 0;
    const bool isEnded = WaitForSingleObject(thread, kPatience) == WAIT_OBJECT_0;
    GetExitCodeThread(thread, &answer);
    CloseHandle(thread);
    return isEnded && answer == TRUE;
}

// The system loads the provider in the thread that first asks for it.
TEST(WindowsThreads, OneThatLoadedTheProviderEnds) {
    EXPECT_TRUE(RunInThread());
}

// A thread takes sixteen places at once of the 262,144 that there are.
TEST(WindowsThreads, OnesThatEndGiveTheirHandlesBack) {
    constexpr int kThreads = 262'144 / 16 + 100;
    OwnedContext keepsTheProviderLoaded;
    ASSERT_TRUE(
        mvlpfx::AcquireContext(nullptr, CRYPT_VERIFYCONTEXT, false, &keepsTheProviderLoaded));
    for (int i = 0; i != kThreads; ++i) {
        ASSERT_TRUE(RunInThread()) << i;
    }
}

}  // namespace
}  // namespace windows_tests
