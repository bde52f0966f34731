#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "platform/cryptoapi.h"
#include "platform/runtime_random.h"

namespace {

// The generator of the Windows runtime is each thread's own.
TEST(WindowsRuntime, FirstRandomNumberOfAThreadIs41) {
    int first = 0;
    std::thread([&first] { first = std::rand(); }).join();
    EXPECT_EQ(first, 41);
    EXPECT_EQ(pkisdk::kFirstUnseededRandom, 41);
}

TEST(WindowsRuntime, WideCharactersHave16Bits) {
    EXPECT_EQ(sizeof(wchar_t), 2U);
}

TEST(WindowsRuntime, LibrariesCarryTheirVersion) {
    for (const char* const name : {"mvlpfx64.dll", "velmorixcsp.dll", "mvlpfx.exe"}) {
        DWORD ignored = 0;
        const DWORD size = GetFileVersionInfoSizeA(name, &ignored);
        ASSERT_NE(size, 0U) << name;
        std::string block(size, '\0');
        ASSERT_TRUE(GetFileVersionInfoA(name, 0, size, block.data()));
        void* text = nullptr;
        UINT length = 0;
        ASSERT_TRUE(VerQueryValueA(block.data(), "\\StringFileInfo\\040904B0\\OriginalFilename",
                                   &text, &length));
        EXPECT_STREQ(static_cast<const char*>(text), name);
    }
}

}  // namespace
