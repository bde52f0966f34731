#include "capi/clock.h"

#include <chrono>

DWORD WINAPI GetTickCount() {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<DWORD>(
        std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count());
}

void WINAPI GetSystemTime(LPSYSTEMTIME lpSystemTime) {
    constexpr long kNanosecondsPerMillisecond = 1'000'000;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    *lpSystemTime = {static_cast<WORD>(parts.tm_year + 1900),
                     static_cast<WORD>(parts.tm_mon + 1),
                     static_cast<WORD>(parts.tm_wday),
                     static_cast<WORD>(parts.tm_mday),
                     static_cast<WORD>(parts.tm_hour),
                     static_cast<WORD>(parts.tm_min),
                     static_cast<WORD>(parts.tm_sec),
                     static_cast<WORD>(now.tv_nsec / kNanosecondsPerMillisecond)};
}
