#include "capi/clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

// Unsigned differences, since the count wraps.
TEST(GetTickCount, CountsMilliseconds) {
    const DWORD before = GetTickCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const DWORD passed = GetTickCount() - before;
    EXPECT_GE(passed, 19U);
    EXPECT_LT(passed, 60'000U);
}

}  // namespace
