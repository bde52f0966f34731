#include "capi/oid_info.h"

#include <wchar.h>

#include <cstring>

#include "capi/last_error.h"

namespace {

constexpr CRYPT_OID_INFO Row(LPCSTR oid, LPCWSTR name, DWORD group, ALG_ID algorithm) {
    return {sizeof(CRYPT_OID_INFO), oid, name, group, {algorithm}, {0, nullptr}};
}

// The first row of an algorithm is the one that a lookup by ALG_ID gives.
constexpr CRYPT_OID_INFO kRows[] = {
    Row("1.2.643.2.2.9", L"GOST R 34.11-94", CRYPT_HASH_ALG_OID_GROUP_ID, 0x801E),
    Row("1.2.643.7.1.1.2.2", L"GOST R 34.11-2012 256 bit", CRYPT_HASH_ALG_OID_GROUP_ID, 0x8021),
    Row("1.2.643.7.1.1.2.3", L"GOST R 34.11-2012 512 bit", CRYPT_HASH_ALG_OID_GROUP_ID, 0x8022),
    Row("1.3.14.3.2.26", L"sha1", CRYPT_HASH_ALG_OID_GROUP_ID, CALG_SHA1),
    Row("1.2.643.2.2.21", L"GOST 28147-89", CRYPT_ENCRYPT_ALG_OID_GROUP_ID, 0x661E),
    Row("1.2.643.2.2.19", L"GOST R 34.10-2001", CRYPT_PUBKEY_ALG_OID_GROUP_ID, 0x2E23),
    Row("1.2.643.2.2.98", L"GOST R 34.10-2001 DH", CRYPT_PUBKEY_ALG_OID_GROUP_ID, 0xAA24),
    Row("1.2.643.7.1.1.1.1", L"GOST R 34.10-2012 256 bit", CRYPT_PUBKEY_ALG_OID_GROUP_ID, 0x2E49),
    Row("1.2.643.7.1.1.1.2", L"GOST R 34.10-2012 512 bit", CRYPT_PUBKEY_ALG_OID_GROUP_ID, 0x2E3D),
};

bool HasKey(const CRYPT_OID_INFO& row, DWORD keyType, const void* key) {
    switch (keyType) {
        case CRYPT_OID_INFO_OID_KEY:
            return std::strcmp(row.pszOID, static_cast<LPCSTR>(key)) == 0;
        case CRYPT_OID_INFO_NAME_KEY:
            return wcscasecmp(row.pwszName, static_cast<LPCWSTR>(key)) == 0;
        case CRYPT_OID_INFO_ALGID_KEY:
            return row.Algid == *static_cast<const ALG_ID*>(key);
        default:
            return false;
    }
}

}  // namespace

PCCRYPT_OID_INFO WINAPI CryptFindOIDInfo(DWORD dwKeyType, void* pvKey, DWORD dwGroupId) {
    if (pvKey != nullptr) {
        for (const CRYPT_OID_INFO& row : kRows) {
            if ((dwGroupId == 0 || row.dwGroupId == dwGroupId) && HasKey(row, dwKeyType, pvKey)) {
                return &row;
            }
        }
    }
    SetLastError(static_cast<DWORD>(CRYPT_E_NOT_FOUND));
    return nullptr;
}
