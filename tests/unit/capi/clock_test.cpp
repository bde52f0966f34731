#include "capi/clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
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

TEST(GetSystemTime, IsTheTimeOfDayInUtc) {
    const std::time_t before = std::time(nullptr);
    SYSTEMTIME now{};
    GetSystemTime(&now);
    std::tm parts{};
    parts.tm_year = now.wYear - 1900;
    parts.tm_mon = now.wMonth - 1;
    parts.tm_mday = now.wDay;
    parts.tm_hour = now.wHour;
    parts.tm_min = now.wMinute;
    parts.tm_sec = now.wSecond;
    const std::time_t told = timegm(&parts);
    EXPECT_GE(told, before);
    EXPECT_LE(told, std::time(nullptr));
    EXPECT_EQ(now.wDayOfWeek, parts.tm_wday);
    EXPECT_LT(now.wMilliseconds, 1000);
}

}  // namespace
