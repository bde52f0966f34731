#include "capi/heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "capi/last_error.h"
#include "support/last_error.h"

// Under AddressSanitizer too, an allocation that is too large answers null.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

TEST(Heap, GivesZeroesWhereAsked) {
    constexpr std::size_t kSize = 1000;
    void* const dirty = HeapAlloc(GetProcessHeap(), 0, kSize);
    ASSERT_NE(dirty, nullptr);
    std::memset(dirty, 0xA5, kSize);
    EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, dirty));
    auto* const clean = static_cast<BYTE*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, kSize));
    ASSERT_NE(clean, nullptr);
    EXPECT_TRUE(std::all_of(clean, clean + kSize, [](BYTE byte) { return byte == 0; }));
    EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, clean));
}

TEST(Heap, GivesABlockForSizeZero) {
    void* const block = HeapAlloc(GetProcessHeap(), 0, 0);
    EXPECT_NE(block, nullptr);
    EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, block));
}

TEST(Heap, AnswersNullWhereThereIsNoMemoryAndLeavesTheLastErrorAlone) {
    SetLastError(4711);
    EXPECT_EQ(HeapAlloc(GetProcessHeap(), 0, SIZE_MAX / 2), nullptr);
    EXPECT_EQ(HeapAlloc(nullptr, 0, 1), nullptr);
    EXPECT_EQ(HeapAlloc(GetProcessHeap(), 0x4, 1), nullptr);
    EXPECT_EQ(GetLastError(), 4711U);
}

TEST(Heap, FreesNothingForNullAndRefusesAnotherHeap) {
    EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, nullptr));
    int own = 0;
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, HeapFree(&own, 0, &own));
}

}  // namespace
