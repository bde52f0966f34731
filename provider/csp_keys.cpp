// Entry points: keys.
#include "csp.h"
#include "provider/algorithms.h"
#include "provider/objects.h"
#include "provider/parameter.h"

namespace provider {

namespace {

constexpr DWORD kPermissions = CRYPT_ENCRYPT | CRYPT_DECRYPT | CRYPT_READ | CRYPT_WRITE | CRYPT_MAC;

HRESULT Generate(HCRYPTPROV context, ALG_ID algorithm, DWORD flags, HCRYPTKEY* result) {
    if (!ContextTable::IsValid(context)) {
        return NTE_BAD_UID;
    }
    if (result == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    if (algorithm != kGost28147) {
        return NTE_BAD_ALGID;
    }
    if ((flags & ~DWORD{CRYPT_EXPORTABLE}) != 0) {
        return NTE_BAD_FLAGS;
    }
    KeyTable::Reservation key = KeyTable::Reserve();
    if (!key) {
        return NTE_NO_MEMORY;
    }
    key->Generate(flags == CRYPT_EXPORTABLE ? kPermissions | CRYPT_EXPORT : kPermissions);
    *result = key.Publish(context);
    return S_OK;
}

}  // namespace

}  // namespace provider

using provider::Answer;
using provider::KeyTable;
using provider::WithKey;

BOOL WINAPI CPGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey) {
    return Answer(provider::Generate(hProv, Algid, dwFlags, phKey));
}

BOOL WINAPI CPDestroyKey(HCRYPTPROV hProv, HCRYPTKEY hKey) {
    return Answer(WithKey(hProv, hKey, [](KeyTable::Lease* key) {
        (*key)->WipeSecrets();
        key->Retire();
        return S_OK;
    }));
}

BOOL WINAPI CPGetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData,
                          DWORD* pcbDataLen, DWORD dwFlags) {
    return Answer(WithKey(hProv, hKey, [=](KeyTable::Lease* key) {
        return dwFlags == 0 ? (*key)->GetParameter(dwParam, pbData, pcbDataLen) : NTE_BAD_FLAGS;
    }));
}

BOOL WINAPI CPSetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData,
                          DWORD dwFlags) {
    return Answer(WithKey(hProv, hKey, [=](KeyTable::Lease* key) -> HRESULT {
        if (pbData == nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        return dwFlags == 0 ? (*key)->SetParameter(dwParam, pbData) : NTE_BAD_FLAGS;
    }));
}
