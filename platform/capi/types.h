/* The basic types of the Windows interfaces, in the sizes they have there. WCHAR alone differs: it
 * is the platform's wchar_t, 32 bits here. */
#pragma once

#include <stddef.h>
#include <stdint.h>

/* Marks what libvlxcapi exports; everything else in it is hidden. */
#define VLXCAPI __attribute__((visibility("default")))

#ifdef __cplusplus
#define VLXCAPI_BEGIN extern "C" {
#define VLXCAPI_END }
#else
#define VLXCAPI_BEGIN
#define VLXCAPI_END
#endif

/* Calling conventions, of which this platform has one. */
#define WINAPI
#define CALLBACK
#define APIENTRY

#ifndef CONST
#define CONST const
#endif
#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif
#define MAX_PATH 260

typedef int BOOL;
typedef unsigned char BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int INT;
typedef unsigned int UINT;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
typedef uint64_t DWORDLONG;
typedef intptr_t LONG_PTR;
typedef uintptr_t ULONG_PTR;
typedef uintptr_t DWORD_PTR;
typedef uintptr_t UINT_PTR;
typedef size_t SIZE_T;
typedef char CHAR;
typedef wchar_t WCHAR;
typedef LONG HRESULT;
typedef LONG LSTATUS;

typedef void* PVOID;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef BYTE* PBYTE;
typedef BYTE* LPBYTE;
typedef DWORD* PDWORD;
typedef DWORD* LPDWORD;
typedef LONG* PLONG;
typedef BOOL* PBOOL;
typedef BOOL* LPBOOL;
typedef CHAR* PSTR;
typedef CHAR* LPSTR;
typedef const CHAR* PCSTR;
typedef const CHAR* LPCSTR;
typedef WCHAR* PWSTR;
typedef WCHAR* LPWSTR;
typedef const WCHAR* PCWSTR;
typedef const WCHAR* LPCWSTR;

typedef void* HANDLE;
typedef HANDLE* PHANDLE;
typedef struct HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;
typedef struct HWND__* HWND;
typedef int(WINAPI* FARPROC)(void);

typedef struct _FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

/* A count of bytes and a pointer to them, under the names that the interfaces give it. */
typedef struct _CRYPTOAPI_BLOB {
    DWORD cbData;
    BYTE* pbData;
} CRYPT_INTEGER_BLOB, *PCRYPT_INTEGER_BLOB, CRYPT_UINT_BLOB, *PCRYPT_UINT_BLOB, CRYPT_OBJID_BLOB,
    *PCRYPT_OBJID_BLOB, CERT_NAME_BLOB, *PCERT_NAME_BLOB, CERT_BLOB, *PCERT_BLOB, CRYPT_DATA_BLOB,
    *PCRYPT_DATA_BLOB, CRYPT_HASH_BLOB, *PCRYPT_HASH_BLOB, CRYPT_DER_BLOB, *PCRYPT_DER_BLOB,
    CRYPT_ATTR_BLOB, *PCRYPT_ATTR_BLOB;
