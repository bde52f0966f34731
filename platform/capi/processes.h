/* The process and the thread that asks, by number. */
#pragma once

#include "capi/types.h"

VLXCAPI_BEGIN

VLXCAPI DWORD WINAPI GetCurrentProcessId(void);

/* The system's number, which no other thread of the machine has at the same time. */
VLXCAPI DWORD WINAPI GetCurrentThreadId(void);

VLXCAPI_END
