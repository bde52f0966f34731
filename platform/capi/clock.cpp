#include "capi/clock.h"

#include <chrono>

#include "capi/last_error.h"

namespace capi {

namespace {

using std::chrono::days;
using std::chrono::floor;
using std::chrono::milliseconds;
using Days = std::chrono::sys_days;
using Instant = std::chrono::sys_time<milliseconds>;

constexpr Days kStartOf1601{std::chrono::year{1601} / 1 / 1};
constexpr Days kStartOf30828{std::chrono::year{30828} / 1 / 1};
constexpr ULONGLONG kUnitsPerMillisecond = 10'000;

SYSTEMTIME PartsOf(Instant time) {
    const Days day = floor<days>(time);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{time - day};
    return {static_cast<WORD>(static_cast<int>(date.year())),
            static_cast<WORD>(static_cast<unsigned>(date.month())),
            static_cast<WORD>(std::chrono::weekday{day}.c_encoding()),
            static_cast<WORD>(static_cast<unsigned>(date.day())),
            static_cast<WORD>(clock.hours().count()),
            static_cast<WORD>(clock.minutes().count()),
            static_cast<WORD>(clock.seconds().count()),
            static_cast<WORD>(clock.subseconds().count())};
}

}  // namespace

}  // namespace capi

DWORD WINAPI GetTickCount() {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<DWORD>(
        std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count());
}

void WINAPI GetSystemTime(LPSYSTEMTIME lpSystemTime) {
    *lpSystemTime = capi::PartsOf(
        std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now()));
}

BOOL WINAPI FileTimeToSystemTime(const FILETIME* lpFileTime, LPSYSTEMTIME lpSystemTime) {
    const ULONGLONG units = ULONGLONG{lpFileTime->dwHighDateTime} << 32 | lpFileTime->dwLowDateTime;
    const std::chrono::milliseconds since1601(units / capi::kUnitsPerMillisecond);
    const capi::Instant time = capi::kStartOf1601 + since1601;
    if (time >= capi::kStartOf30828) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *lpSystemTime = capi::PartsOf(time);
    return TRUE;
}

BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* lpSystemTime, LPFILETIME lpFileTime) {
    const SYSTEMTIME& parts = *lpSystemTime;
    const std::chrono::year_month_day date{std::chrono::year{parts.wYear},
                                           std::chrono::month{parts.wMonth},
                                           std::chrono::day{parts.wDay}};
    const bool isTime =
        parts.wHour < 24 && parts.wMinute < 60 && parts.wSecond < 60 && parts.wMilliseconds < 1000;
    if (!date.ok() || !isTime || capi::Days(date) < capi::kStartOf1601 ||
        capi::Days(date) >= capi::kStartOf30828) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const auto since1601 = capi::Days(date) - capi::kStartOf1601 + std::chrono::hours(parts.wHour) +
                           std::chrono::minutes(parts.wMinute) +
                           std::chrono::seconds(parts.wSecond) +
                           std::chrono::milliseconds(parts.wMilliseconds);
    const ULONGLONG units = static_cast<ULONGLONG>(since1601.count()) * capi::kUnitsPerMillisecond;
    *lpFileTime = {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
    return TRUE;
}
