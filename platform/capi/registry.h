/* The registry as it is read here: the settings file over built-in defaults.
 *
 * The settings are one TOML file, /etc/velmorix/settings.toml or, save in a set-user-id process,
 * the one that VELMORIX_SETTINGS names. A table named by a registry key in single quotes holds that
 * key's values: text is REG_SZ, a whole number or a truth value REG_DWORD (a number that needs more
 * than 32 bits REG_QWORD), an array of texts REG_MULTI_SZ. Names of keys and values do not depend
 * on case. The tables stand for HKEY_LOCAL_MACHINE; those whose name begins with
 * "HKEY_CURRENT_USER\" stand for that root. A file that cannot be read or is no TOML counts as
 * empty, and syslog names it and the reason once.
 *
 * The functions answer the error word itself and leave the last error alone. */
#pragma once

#include "capi/types.h"

typedef struct HKEY__* HKEY;
typedef HKEY* PHKEY;
typedef DWORD REGSAM;

#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)((LONG)0x80000001))
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)((LONG)0x80000002))

#define KEY_QUERY_VALUE 0x0001
#define KEY_SET_VALUE 0x0002
#define KEY_CREATE_SUB_KEY 0x0004
#define KEY_ENUMERATE_SUB_KEYS 0x0008
#define KEY_NOTIFY 0x0010
#define KEY_CREATE_LINK 0x0020
#define KEY_WOW64_64KEY 0x0100
#define KEY_WOW64_32KEY 0x0200
#define KEY_READ 0x20019

#define REG_NOTIFY_CHANGE_NAME 0x1
#define REG_NOTIFY_CHANGE_ATTRIBUTES 0x2
#define REG_NOTIFY_CHANGE_LAST_SET 0x4
#define REG_NOTIFY_CHANGE_SECURITY 0x8

#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_MULTI_SZ 7
#define REG_QWORD 11

VLXCAPI_BEGIN

/* Opens `lpSubKey` under a root or an open key, as it stands in the settings at this moment; later
 * changes of the file are seen by a new opening. A null or empty name opens the key itself again.
 * The caller closes `*phkResult` with RegCloseKey. ERROR_FILE_NOT_FOUND where there is no such key;
 * ERROR_ACCESS_DENIED where a right to write is asked; ERROR_BAD_PATHNAME for a name that begins
 * with a backslash; ERROR_INVALID_HANDLE; ERROR_INVALID_PARAMETER for a null result or options. */
VLXCAPI LSTATUS WINAPI RegOpenKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
                                     PHKEY phkResult);

/* Closes a key; a root may be closed to no effect. ERROR_INVALID_HANDLE. */
VLXCAPI LSTATUS WINAPI RegCloseKey(HKEY hKey);

/* This and what follows need a key opened with KEY_QUERY_VALUE, else ERROR_ACCESS_DENIED.
 *
 * Counts and longest sizes. Any pointer may be null; lengths of names are in characters without
 * terminator, those of data in bytes. There is no class: its text is empty. ERROR_INVALID_HANDLE;
 * ERROR_INVALID_PARAMETER for a class buffer without its length or a reserved argument;
 * ERROR_MORE_DATA for a class buffer of length 0. */
VLXCAPI LSTATUS WINAPI RegQueryInfoKeyA(HKEY hKey, LPSTR lpClass, LPDWORD lpcchClass,
                                        LPDWORD lpReserved, LPDWORD lpcSubKeys,
                                        LPDWORD lpcbMaxSubKeyLen, LPDWORD lpcbMaxClassLen,
                                        LPDWORD lpcValues, LPDWORD lpcbMaxValueNameLen,
                                        LPDWORD lpcbMaxValueLen, LPDWORD lpcbSecurityDescriptor,
                                        PFILETIME lpftLastWriteTime);

/* The value at `dwIndex`. `*lpcchValueName` is the room with the terminator and becomes the length
 * without it. `*lpcbData` is the room at `lpData` and becomes the size, which alone is wanted where
 * `lpData` is null. ERROR_NO_MORE_ITEMS past the last; ERROR_MORE_DATA where the name or the data
 * do not fit (`*lpcbData` is then the size); ERROR_INVALID_PARAMETER; ERROR_INVALID_HANDLE. */
VLXCAPI LSTATUS WINAPI RegEnumValueA(HKEY hKey, DWORD dwIndex, LPSTR lpValueName,
                                     LPDWORD lpcchValueName, LPDWORD lpReserved, LPDWORD lpType,
                                     LPBYTE lpData, LPDWORD lpcbData);

/* The value of that name; null or empty means the unnamed one. Room and size as above.
 * ERROR_FILE_NOT_FOUND where there is none. */
VLXCAPI LSTATUS WINAPI RegQueryValueExA(HKEY hKey, LPCSTR lpValueName, LPDWORD lpReserved,
                                        LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData);

/* The same with wide names and text: sizes of text are in bytes of wide characters. */
VLXCAPI LSTATUS WINAPI RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved,
                                        LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData);

/* The key under `hKey` at `dwIndex`, by name; the key needs KEY_ENUMERATE_SUB_KEYS. `*lpcchName` is
 * the room with the terminator and becomes the length without it. There is no class: its text is
 * empty. ERROR_NO_MORE_ITEMS past the last; ERROR_MORE_DATA where the name does not fit;
 * ERROR_ACCESS_DENIED; ERROR_INVALID_PARAMETER; ERROR_INVALID_HANDLE. */
VLXCAPI LSTATUS WINAPI RegEnumKeyExA(HKEY hKey, DWORD dwIndex, LPSTR lpName, LPDWORD lpcchName,
                                     LPDWORD lpReserved, LPSTR lpClass, LPDWORD lpcchClass,
                                     PFILETIME lpftLastWriteTime);

/* Signals `hEvent` once when the key's values (REG_NOTIFY_CHANGE_LAST_SET) or the names of the keys
 * under it (REG_NOTIFY_CHANGE_NAME) are no longer those that the key was opened with; those below
 * count too with `bWatchSubtree`. When a wait sees the signal, the key holds the settings as they
 * are then; a key that the file has no longer is empty. The next change needs a new call. Closing
 * the key or the event ends the watch. Without `fAsynchronous` the call itself waits, and `hEvent`
 * is not used.
 *
 * The key needs KEY_NOTIFY, else ERROR_ACCESS_DENIED; ERROR_INVALID_PARAMETER for no filter or
 * another one, or a missing event; ERROR_INVALID_HANDLE for a wrong key or event. */
VLXCAPI LSTATUS WINAPI RegNotifyChangeKeyValue(HKEY hKey, BOOL bWatchSubtree, DWORD dwNotifyFilter,
                                               HANDLE hEvent, BOOL fAsynchronous);

VLXCAPI_END
