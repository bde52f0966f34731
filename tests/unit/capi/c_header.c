/* The headers in a C program: that they compile there, and the sizes that callers rely on. */
#include "platform/cryptoapi.h"

_Static_assert(sizeof(DWORD) == 4 && (DWORD)-1 > 0, "DWORD is 32 bits without sign");
_Static_assert(sizeof(LONG) == 4 && (LONG)-1 < 0, "LONG is 32 bits with sign");
_Static_assert(sizeof(BOOL) == sizeof(int), "BOOL is int");
_Static_assert(sizeof(WORD) == 2 && sizeof(BYTE) == 1, "WORD and BYTE");
_Static_assert(sizeof(WCHAR) == sizeof(wchar_t), "WCHAR is the platform's wide character");
_Static_assert(sizeof(ULONG_PTR) == sizeof(void*), "ULONG_PTR holds a pointer");
_Static_assert(sizeof(HCRYPTPROV) == sizeof(void*), "handles hold a pointer");
_Static_assert(sizeof(ALG_ID) == 4, "ALG_ID is unsigned int");
_Static_assert(sizeof(HRESULT) == 4, "HRESULT is LONG");
_Static_assert(offsetof(HMAC_INFO, pbInnerString) == sizeof(void*), "HMAC_INFO");
_Static_assert(offsetof(CRYPT_DATA_BLOB, pbData) == sizeof(void*), "CRYPT_DATA_BLOB");
_Static_assert(KEY_READ == 131097, "KEY_READ");

DWORD CallsFromC(void);

/* The algorithm of an identifier, as a C caller would look it up. */
DWORD CallsFromC(void) {
    char oid[] = "1.2.643.7.1.1.2.3";
    PCCRYPT_OID_INFO row = CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, oid, 0);
    return row == NULL ? 0 : row->Algid;
}
