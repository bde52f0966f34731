/* Handles of events and files.
 *
 * They may be used by any thread, and no number is given twice, so that a closed handle stays a
 * wrong one: ERROR_INVALID_HANDLE. */
#pragma once

#include "capi/types.h"

#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)

typedef struct _SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
} SECURITY_ATTRIBUTES, *PSECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;

VLXCAPI_BEGIN

/* Ends a handle. A file's locks go with it. */
VLXCAPI BOOL WINAPI CloseHandle(HANDLE hObject);

VLXCAPI_END
