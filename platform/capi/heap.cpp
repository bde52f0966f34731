#include "capi/heap.h"

#include <string.h>

#include <cstdlib>

#include "capi/last_error.h"

namespace {

// Only its address is used.
int processHeap;

}  // namespace

HANDLE WINAPI GetProcessHeap() {
    return &processHeap;
}

LPVOID WINAPI HeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes) {
    constexpr DWORD kKnownFlags = HEAP_NO_SERIALIZE | HEAP_ZERO_MEMORY;
    if (hHeap != GetProcessHeap() || (dwFlags & ~kKnownFlags) != 0) {
        return nullptr;
    }
    const SIZE_T size = dwBytes == 0 ? 1 : dwBytes;
    return (dwFlags & HEAP_ZERO_MEMORY) != 0 ? std::calloc(1, size) : std::malloc(size);
}

BOOL WINAPI HeapFree(HANDLE hHeap, DWORD /*dwFlags*/, LPVOID lpMem) {
    if (hHeap != GetProcessHeap()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    std::free(lpMem);
    return TRUE;
}

PVOID WINAPI SecureZeroMemory(PVOID ptr, SIZE_T cnt) {
    if (cnt != 0) {
        explicit_bzero(ptr, cnt);
    }
    return ptr;
}
