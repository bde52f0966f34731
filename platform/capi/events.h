/* Events, as far as a change of the registry is told by one.
 *
 * Closing a handle while another thread waits for it leaves that thread waiting for its time. A
 * handle that is no open event gives ERROR_INVALID_HANDLE. */
#pragma once

#include "capi/handles.h"

#define INFINITE 0xFFFFFFFF
#define WAIT_OBJECT_0 0
#define WAIT_TIMEOUT 258
#define WAIT_FAILED 0xFFFFFFFF

VLXCAPI_BEGIN

/* An event, closed with CloseHandle. With `bManualReset` it stays signalled until ResetEvent, else
 * one wait takes the signal. Null with ERROR_NOT_SUPPORTED for a name, ERROR_TOO_MANY_OPEN_FILES,
 * ERROR_NOT_ENOUGH_MEMORY. The attributes are not looked at. */
VLXCAPI HANDLE WINAPI CreateEventA(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset,
                                   BOOL bInitialState, LPCSTR lpName);

VLXCAPI BOOL WINAPI SetEvent(HANDLE hEvent);
VLXCAPI BOOL WINAPI ResetEvent(HANDLE hEvent);

/* WAIT_OBJECT_0 where the event is signalled within so many milliseconds, else WAIT_TIMEOUT;
 * WAIT_FAILED with the reason in the last error. */
VLXCAPI DWORD WINAPI WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds);

VLXCAPI_END
