// The identifiers that lookups answer for the provider's algorithms: from capi's table on Linux,
// from the system's, where the provider's registration enters them, on Windows. The first row of an
// algorithm is the one that a lookup by ALG_ID gives.
#pragma once

#include "cryptoapi.h"

namespace platform {

struct OidRow {
    const char* oid;
    const wchar_t* name;
    DWORD group;
    ALG_ID algorithm;
};

inline constexpr OidRow kOidRows[] = {
    {"1.2.643.2.2.9", L"GOST R 34.11-94", CRYPT_HASH_ALG_OID_GROUP_ID, 0x801E},
    {"1.2.643.7.1.1.2.2", L"GOST R 34.11-2012 256 bit", CRYPT_HASH_ALG_OID_GROUP_ID, 0x8021},
    {"1.2.643.7.1.1.2.3", L"GOST R 34.11-2012 512 bit", CRYPT_HASH_ALG_OID_GROUP_ID, 0x8022},
    {"1.2.643.2.2.21", L"GOST 28147-89", CRYPT_ENCRYPT_ALG_OID_GROUP_ID, 0x661E},
    {"1.2.643.2.2.19", L"GOST R 34.10-2001", CRYPT_PUBKEY_ALG_OID_GROUP_ID, 0x2E23},
    {"1.2.643.2.2.98", L"GOST R 34.10-2001 DH", CRYPT_PUBKEY_ALG_OID_GROUP_ID, 0xAA24},
    {"1.2.643.7.1.1.1.1", L"GOST R 34.10-2012 256 bit", CRYPT_PUBKEY_ALG_OID_GROUP_ID, 0x2E49},
    {"1.2.643.7.1.1.1.2", L"GOST R 34.10-2012 512 bit", CRYPT_PUBKEY_ALG_OID_GROUP_ID, 0x2E3D},
};

}  // namespace platform
