/* Files that are written at their end, as logs are, and the temporary directory.
 *
 * Names are bytes as the file system has them; a relative one is looked for where the process is.
 */
#pragma once

#include "capi/handles.h"

#define GENERIC_WRITE 0x40000000
#define FILE_SHARE_READ 0x00000001
#define FILE_SHARE_WRITE 0x00000002
#define FILE_SHARE_DELETE 0x00000004
#define OPEN_ALWAYS 4
#define FILE_ATTRIBUTE_NORMAL 0x00000080
#define FILE_FLAG_WRITE_THROUGH 0x80000000

#define LOCKFILE_FAIL_IMMEDIATELY 0x00000001
#define LOCKFILE_EXCLUSIVE_LOCK 0x00000002

#define FILE_BEGIN 0
#define FILE_CURRENT 1
#define FILE_END 2
#define INVALID_SET_FILE_POINTER 0xFFFFFFFF

typedef struct _OVERLAPPED {
    ULONG_PTR Internal;
    ULONG_PTR InternalHigh;
    DWORD Offset;
    DWORD OffsetHigh;
    HANDLE hEvent;
} OVERLAPPED, *LPOVERLAPPED;

VLXCAPI_BEGIN

/* The folder for temporary files, with a slash at its end: $TMPDIR, unless that holds no absolute
 * path or the process is a set-user-id one, else /tmp. It need not be there. Answers its length, or
 * where it does not fit the room it takes with its terminator; the buffer is then as it was. */
VLXCAPI DWORD WINAPI GetTempPathA(DWORD nBufferLength, LPSTR lpBuffer);

/* Opens a regular file for writing, made with mode 0600 where it is not there; closed with
 * CloseHandle. A symbolic link in its place is not followed. A file of another user than root and
 * the caller is refused: its owner could keep it locked. With FILE_FLAG_WRITE_THROUGH a write has
 * reached the disk when it returns; programs that this one starts never get the file.
 *
 * INVALID_HANDLE_VALUE with ERROR_ACCESS_DENIED for what is refused or no regular file;
 * ERROR_FILE_NOT_FOUND or ERROR_PATH_NOT_FOUND where there is no such folder; ERROR_NOT_SUPPORTED
 * for another access than GENERIC_WRITE, another disposition than OPEN_ALWAYS, or a template;
 * ERROR_INVALID_PARAMETER for a missing name; ERROR_WRITE_PROTECT, ERROR_DISK_FULL,
 * ERROR_TOO_MANY_OPEN_FILES. How it is shared is not looked at: it always is. */
VLXCAPI HANDLE WINAPI CreateFileA(LPCSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                                  LPSECURITY_ATTRIBUTES lpSecurityAttributes,
                                  DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes,
                                  HANDLE hTemplateFile);

/* Locks as many bytes from `lpOverlapped`'s offset against every other handle of the file, of this
 * process or another, and waits for that unless LOCKFILE_FAIL_IMMEDIATELY is set: then
 * ERROR_LOCK_VIOLATION. Who does not ask for the lock is not held off. ERROR_NOT_SUPPORTED without
 * LOCKFILE_EXCLUSIVE_LOCK; ERROR_INVALID_PARAMETER for a reserved argument or no record. */
VLXCAPI BOOL WINAPI LockFileEx(HANDLE hFile, DWORD dwFlags, DWORD dwReserved,
                               DWORD nNumberOfBytesToLockLow, DWORD nNumberOfBytesToLockHigh,
                               LPOVERLAPPED lpOverlapped);

/* Moves the place of the next write, and answers its low 32 bits; the distance's and the place's
 * high ones are in `*lpDistanceToMoveHigh`. Without that the distance is signed, and a place that
 * 32 bits can't tell, or tell only as the failure, is ERROR_INVALID_PARAMETER, as is an unknown
 * method. INVALID_SET_FILE_POINTER on failure; ERROR_NEGATIVE_SEEK for a place before the start. */
VLXCAPI DWORD WINAPI SetFilePointer(HANDLE hFile, LONG lDistanceToMove, PLONG lpDistanceToMoveHigh,
                                    DWORD dwMoveMethod);

/* Writes all bytes or, at the end of the file, none: what a full disk took of them is taken back.
 * `*lpNumberOfBytesWritten`, which may be missing, is their count or 0. ERROR_DISK_FULL, also where
 * the process may not make the file so large; ERROR_INVALID_PARAMETER for an overlapped record. */
VLXCAPI BOOL WINAPI WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
                              LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped);

VLXCAPI_END
