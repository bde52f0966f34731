/* Text between code pages and wide characters.
 *
 * The ANSI code page is the one that the settings name as "ACP" under
 * SYSTEM\CurrentControlSet\Control\Nls\CodePage, else that of the user's locale as LC_ALL, LC_CTYPE
 * or LANG name it, else UTF-8. The process's own locale is neither asked nor changed. CP_OEMCP and
 * CP_THREAD_ACP mean the same page.
 *
 * A wide character is a whole code point of Unicode. Surrogates are not characters: each one counts
 * as a character that no code page has. */
#pragma once

#include "capi/types.h"

#define CP_ACP 0
#define CP_OEMCP 1
#define CP_THREAD_ACP 3
#define CP_UTF8 65001

#define MB_PRECOMPOSED 0x00000001
#define MB_ERR_INVALID_CHARS 0x00000008

#define WC_ERR_INVALID_CHARS 0x00000080
#define WC_NO_BEST_FIT_CHARS 0x00000400

VLXCAPI_BEGIN

/* The number of the ANSI code page; 0 where memory is out. */
VLXCAPI UINT WINAPI GetACP(void);

/* Converts `cbMultiByte` bytes, or with -1 all up to and including the terminator, and answers the
 * count of wide characters written, or needed if `cchWideChar` is 0. Bytes that mean nothing in the
 * code page become U+FFFD, one for each maximal ill-formed part of a UTF-8 sequence; with
 * MB_ERR_INVALID_CHARS they fail the call.
 *
 * Answers 0 on failure: ERROR_INVALID_PARAMETER for null text, a length of 0 or below -1, a room
 * below 0 or without a buffer, output over input, or a code page that is not there;
 * ERROR_INVALID_FLAGS for flags other than MB_ERR_INVALID_CHARS and, save with CP_UTF8,
 * MB_PRECOMPOSED; ERROR_INSUFFICIENT_BUFFER, with the part that fits written;
 * ERROR_NO_UNICODE_TRANSLATION for invalid bytes under MB_ERR_INVALID_CHARS;
 * ERROR_NOT_ENOUGH_MEMORY; ERROR_ARITHMETIC_OVERFLOW where the answer passes an int. */
VLXCAPI int WINAPI MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr,
                                       int cbMultiByte, LPWSTR lpWideCharStr, int cchWideChar);

/* The other way; -1 and a room of 0 mean the same here. A character that the code page lacks
 * becomes `lpDefaultChar` (null: "?"; one byte, or two in a double-byte page), and
 * `*lpUsedDefaultChar` tells whether that happened. In UTF-8 a surrogate becomes U+FFFD.
 *
 * Answers 0 on failure: ERROR_INVALID_PARAMETER as above, and for a default character or flag with
 * CP_UTF8; ERROR_INVALID_FLAGS for flags other than WC_NO_BEST_FIT_CHARS or, with CP_UTF8,
 * WC_ERR_INVALID_CHARS; ERROR_INSUFFICIENT_BUFFER as above; ERROR_NO_UNICODE_TRANSLATION for a
 * surrogate under WC_ERR_INVALID_CHARS; ERROR_NOT_ENOUGH_MEMORY and ERROR_ARITHMETIC_OVERFLOW as
 * above. */
VLXCAPI int WINAPI WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr,
                                       int cchWideChar, LPSTR lpMultiByteStr, int cbMultiByte,
                                       LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar);

VLXCAPI_END
