// Keys, as calls on the provider that made them.
#include "capi/contexts.h"

using capi::ContextView;
using capi::Csp;
using capi::Fail;
using capi::KeyTable;
using capi::ObjectView;

BOOL WINAPI CryptGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey) {
    const ContextView context = capi::ViewContext(hProv);
    if (context.csp == nullptr) {
        return FALSE;
    }
    if (phKey == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    KeyTable::Reservation reservation = KeyTable::Reserve();
    if (!reservation) {
        return Fail(NTE_NO_MEMORY);
    }
    HCRYPTKEY key = 0;
    if (!context.csp->genKey(context.handle, Algid, dwFlags, &key)) {
        return FALSE;
    }
    *phKey = capi::Publish(&reservation, hProv, context, key);
    return TRUE;
}

BOOL WINAPI CryptDestroyKey(HCRYPTKEY hKey) {
    return capi::DestroyObject<KeyTable>(hKey,
                                         [](const Csp& csp, HCRYPTPROV context, HCRYPTKEY key) {
                                             return csp.destroyKey(context, key);
                                         });
}

BOOL WINAPI CryptGetKeyParam(HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen,
                             DWORD dwFlags) {
    const ObjectView key = capi::ViewObject<KeyTable>(hKey);
    return key.csp != nullptr &&
           key.csp->getKeyParam(key.context, key.handle, dwParam, pbData, pdwDataLen, dwFlags);
}

BOOL WINAPI CryptSetKeyParam(HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
    const ObjectView key = capi::ViewObject<KeyTable>(hKey);
    return key.csp != nullptr &&
           key.csp->setKeyParam(key.context, key.handle, dwParam, pbData, dwFlags);
}
