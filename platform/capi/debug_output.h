/* Where a debugger would listen: the system log, at debug level. */
#pragma once

#include "capi/types.h"

VLXCAPI_BEGIN

/* Sends a text, less the line feed at its end, to syslog as LOG_DEBUG, under the name and facility
 * that the program has chosen with openlog. Null is nothing. Errno may change. */
VLXCAPI void WINAPI OutputDebugStringA(LPCSTR lpOutputString);

VLXCAPI_END
