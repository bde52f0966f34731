/* The libraries of the process by the names that they have on Windows.
 *
 * "name.dll" means the loaded library whose file is called so, or libname.so, with whatever version
 * behind; case does not count, and without an extension ".dll" is meant. The names of the system's
 * own libraries whose functions are here, "advapi32.dll", "crypt32.dll" and "kernel32.dll", mean
 * this library. A handle is good as long as its library is loaded, and is not released. */
#pragma once

#include "capi/types.h"

/* Why an entry point is called. */
#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3

VLXCAPI_BEGIN

/* The library of that name, or for null the program. Null with ERROR_MOD_NOT_FOUND where none is
 * loaded; nothing is loaded for the question. A name with a slash is the file's whole path. */
VLXCAPI HMODULE WINAPI GetModuleHandleA(LPCSTR lpModuleName);

/* The absolute path of the library's file, or for null the program's, with its terminator. Answers
 * its length; `nSize` with ERROR_INSUFFICIENT_BUFFER where it does not fit, which then holds its
 * beginning and a terminator; 0 with ERROR_MOD_NOT_FOUND for what is no library's handle. */
VLXCAPI DWORD WINAPI GetModuleFileNameA(HMODULE hModule, LPSTR lpFilename, DWORD nSize);

/* A function that the library itself exports. Null with ERROR_PROC_NOT_FOUND, or
 * ERROR_MOD_NOT_FOUND for what is no library's handle. Ordinals are not known here. */
VLXCAPI FARPROC WINAPI GetProcAddress(HMODULE hModule, LPCSTR lpProcName);

VLXCAPI_END
