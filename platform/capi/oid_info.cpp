#include "capi/oid_info.h"

#include <wchar.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#include "capi/last_error.h"
#include "oid_rows.h"

namespace {

constexpr CRYPT_OID_INFO Row(const platform::OidRow& row) {
    return {sizeof(CRYPT_OID_INFO), row.oid, row.name, row.group, {row.algorithm}, {0, nullptr}};
}

constexpr platform::OidRow kSha1 = {"1.3.14.3.2.26", L"sha1", CRYPT_HASH_ALG_OID_GROUP_ID,
                                    CALG_SHA1};

constexpr auto kRows = [] {
    std::array<CRYPT_OID_INFO, std::size(platform::kOidRows) + 1> rows{};
    std::ranges::transform(platform::kOidRows, rows.begin(), Row);
    rows.back() = Row(kSha1);
    return rows;
}();

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
