#include "capi/clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "support/last_error.h"

namespace {

// Unsigned differences, since the count wraps.
TEST(GetTickCount, CountsMilliseconds) {
    using std::chrono::steady_clock;
    const steady_clock::time_point begin = steady_clock::now();
    const DWORD before = GetTickCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const DWORD passed = GetTickCount() - before;
    const auto longest = std::chrono::ceil<std::chrono::milliseconds>(steady_clock::now() - begin);
    EXPECT_GE(passed, 19U);
    EXPECT_LE(passed, longest.count() + 1);
}

// The clock that it reads: time(2) may still tell the last second while this tells the next.
std::time_t SecondsNow() {
    using std::chrono::system_clock;
    return system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(system_clock::now()));
}

TEST(GetSystemTime, IsTheTimeOfDayInUtc) {
    const std::time_t before = SecondsNow();
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
    EXPECT_LE(told, SecondsNow());
    EXPECT_EQ(now.wDayOfWeek, parts.tm_wday);
    EXPECT_LT(now.wMilliseconds, 1000);
}

FILETIME Units(ULONGLONG units) {
    return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}

// 134774 days lie between the starts of 1601 and 1970; that of 1970 was a Thursday.
TEST(FileTimeToSystemTime, CountsFrom1601) {
    constexpr ULONGLONG kUnitsPerDay = 864'000'000'000;
    SYSTEMTIME parts{};
    FILETIME time = Units(0);
    ASSERT_TRUE(FileTimeToSystemTime(&time, &parts));
    EXPECT_EQ(parts.wYear, 1601);
    time = Units(134'774 * kUnitsPerDay + 3'723'004 * ULONGLONG{10'000});
    ASSERT_TRUE(FileTimeToSystemTime(&time, &parts));
    EXPECT_EQ(parts.wYear, 1970);
    EXPECT_EQ(parts.wMonth, 1);
    EXPECT_EQ(parts.wDay, 1);
    EXPECT_EQ(parts.wDayOfWeek, 4);
    EXPECT_EQ(parts.wHour, 1);
    EXPECT_EQ(parts.wMinute, 2);
    EXPECT_EQ(parts.wSecond, 3);
    EXPECT_EQ(parts.wMilliseconds, 4);
}

TEST(FileTimeToSystemTime, AndBackAreOneAnothersInverse) {
    for (const ULONGLONG units :
         {ULONGLONG{0}, ULONGLONG{125'911'584'000'000'000}, ULONGLONG{133'000'000'000'000'000}}) {
        FILETIME time = Units(units);
        SYSTEMTIME parts{};
        ASSERT_TRUE(FileTimeToSystemTime(&time, &parts));
        FILETIME back{};
        ASSERT_TRUE(SystemTimeToFileTime(&parts, &back));
        EXPECT_EQ(back.dwLowDateTime, time.dwLowDateTime);
        EXPECT_EQ(back.dwHighDateTime, time.dwHighDateTime);
    }
}

TEST(FileTimeToSystemTime, AndBackRefuseTimesThatAreNone) {
    SYSTEMTIME parts{};
    FILETIME time = Units(~ULONGLONG{0});
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, FileTimeToSystemTime(&time, &parts));
    for (const SYSTEMTIME& none :
         {SYSTEMTIME{2023, 2, 0, 29, 0, 0, 0, 0}, SYSTEMTIME{2023, 13, 0, 1, 0, 0, 0, 0},
          SYSTEMTIME{2023, 1, 0, 1, 24, 0, 0, 0}, SYSTEMTIME{2023, 1, 0, 1, 0, 60, 0, 0},
          SYSTEMTIME{2023, 1, 0, 1, 0, 0, 60, 0}, SYSTEMTIME{2023, 1, 0, 1, 0, 0, 0, 1000},
          SYSTEMTIME{1600, 1, 0, 1, 0, 0, 0, 0}, SYSTEMTIME{30828, 1, 0, 1, 0, 0, 0, 0}}) {
        EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, SystemTimeToFileTime(&none, &time));
    }
}

}  // namespace
