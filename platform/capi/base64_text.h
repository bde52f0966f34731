/* Binary data as text. */
#pragma once

#include "capi/types.h"

#define CRYPT_STRING_BASE64HEADER 0x00000000
#define CRYPT_STRING_BASE64 0x00000001
#define CRYPT_STRING_BINARY 0x00000002
#define CRYPT_STRING_BASE64_ANY 0x00000006
#define CRYPT_STRING_ANY 0x00000007
#define CRYPT_STRING_NOCRLF 0x40000000
#define CRYPT_STRING_NOCR 0x80000000

VLXCAPI_BEGIN

/* The data in a text of `cchString` characters, or up to its terminator where that is 0: with the
 * first header and footer of dashes, as base64 alone, or either; CRYPT_STRING_ANY takes a text that
 * is neither as it stands. `*pcbBinary` is the room and becomes the size, which alone is wanted
 * where `pbBinary` is null. `*pdwSkip` becomes the characters before the header, `*pdwFlags` the
 * form found; both may be null. ERROR_INVALID_DATA for a text of another form, ERROR_MORE_DATA,
 * ERROR_INVALID_PARAMETER for a null text or size or other flags. */
VLXCAPI BOOL WINAPI CryptStringToBinaryA(LPCSTR pszString, DWORD cchString, DWORD dwFlags,
                                         BYTE* pbBinary, DWORD* pcbBinary, DWORD* pdwSkip,
                                         DWORD* pdwFlags);

/* Data as base64 (CRYPT_STRING_BASE64) in lines of 64 characters that end with CR and LF, with
 * CRYPT_STRING_NOCR with LF, or all in one with CRYPT_STRING_NOCRLF. `*pcchString` is the room in
 * characters and becomes the length without the terminator, or, where `pszString` is null, with it.
 * ERROR_MORE_DATA; ERROR_INVALID_PARAMETER for null data or size or another form. */
VLXCAPI BOOL WINAPI CryptBinaryToStringA(const BYTE* pbBinary, DWORD cbBinary, DWORD dwFlags,
                                         LPSTR pszString, DWORD* pcchString);

VLXCAPI_END
