/* The process heap. */
#pragma once

#include "capi/types.h"

#define HEAP_NO_SERIALIZE 0x00000001
#define HEAP_ZERO_MEMORY 0x00000008

VLXCAPI_BEGIN

/* The one heap; the handle is not closed. */
VLXCAPI HANDLE WINAPI GetProcessHeap(void);

/* `dwBytes` bytes, released with HeapFree; a size of 0 gives a block of its own too. Null where
 * there is no memory, where the heap is not the process heap or where a flag other than those above
 * is set; the last error is left alone. */
VLXCAPI LPVOID WINAPI HeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes);

/* Frees a block of HeapAlloc, or nothing for a null one. A heap that is not the process heap:
 * FALSE, ERROR_INVALID_HANDLE, and nothing is freed. The memory is not wiped. */
VLXCAPI BOOL WINAPI HeapFree(HANDLE hHeap, DWORD dwFlags, LPVOID lpMem);

/* Overwrites memory that is not read again, which a compiler would leave out. Answers `ptr`. */
VLXCAPI PVOID WINAPI SecureZeroMemory(PVOID ptr, SIZE_T cnt);

VLXCAPI_END
