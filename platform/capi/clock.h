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

/* Between a time's parts and the 100-nanosecond intervals since 1601; the day of the week is told,
 * not asked for. ERROR_INVALID_PARAMETER for a time that is none: parts outside the calendar, years
 * outside 1601 to 30827. */
VLXCAPI BOOL WINAPI FileTimeToSystemTime(const FILETIME* lpFileTime, LPSYSTEMTIME lpSystemTime);
VLXCAPI BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* lpSystemTime, LPFILETIME lpFileTime);

VLXCAPI_END
