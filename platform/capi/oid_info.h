/* The table of object identifiers and the algorithms they name. */
#pragma once

#include "capi/provider.h"
#include "capi/types.h"

/* What the key of a lookup is: the identifier's text, the wide name (case counts for nothing),
 * or an ALG_ID by pointer. */
#define CRYPT_OID_INFO_OID_KEY 1
#define CRYPT_OID_INFO_NAME_KEY 2
#define CRYPT_OID_INFO_ALGID_KEY 3

#define CRYPT_HASH_ALG_OID_GROUP_ID 1
#define CRYPT_ENCRYPT_ALG_OID_GROUP_ID 2
#define CRYPT_PUBKEY_ALG_OID_GROUP_ID 3
#define CRYPT_SIGN_ALG_OID_GROUP_ID 4

typedef struct _CRYPT_OID_INFO {
    DWORD cbSize;
    LPCSTR pszOID;
    LPCWSTR pwszName;
    DWORD dwGroupId;
    union {
        DWORD dwValue;
        ALG_ID Algid;
        DWORD dwLength;
    };
    CRYPT_DATA_BLOB ExtraInfo;
} CRYPT_OID_INFO, *PCRYPT_OID_INFO;
typedef const CRYPT_OID_INFO* PCCRYPT_OID_INFO;

VLXCAPI_BEGIN

/* The first row of the group (0: of any) that has the key; it stays valid for good and is not
 * freed. Null, and CRYPT_E_NOT_FOUND as the last error, where there is none, the key is null or the
 * key type is none of the above. */
VLXCAPI PCCRYPT_OID_INFO WINAPI CryptFindOIDInfo(DWORD dwKeyType, void* pvKey, DWORD dwGroupId);

VLXCAPI_END
