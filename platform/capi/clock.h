/* Time since the machine started, and time of day. */
#pragma once

#include "capi/types.h"

/* Of the Gregorian calendar; Sunday is day 0 of the week. */
typedef struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

VLXCAPI_BEGIN

/* Milliseconds of the monotonic clock; wraps after 2^32 of them. */
VLXCAPI DWORD WINAPI GetTickCount(void);

/* The time in UTC. */
VLXCAPI void WINAPI GetSystemTime(LPSYSTEMTIME lpSystemTime);

VLXCAPI_END
