/* Time since the machine started. */
#pragma once

#include "capi/types.h"

VLXCAPI_BEGIN

/* Milliseconds of the monotonic clock; wraps after 2^32 of them. */
VLXCAPI DWORD WINAPI GetTickCount(void);

VLXCAPI_END
