// Keys, as calls on the provider that made them.
#include "capi/contexts.h"

using capi::ContextView;
using capi::Csp;
using capi::HashTable;
using capi::KeyTable;
using capi::ObjectView;

namespace capi {

namespace {

// Gives the caller a key that `make` has the provider make.
template <typename Make>
BOOL MakeKey(HCRYPTPROV owner, HCRYPTKEY* result, Make make) {
    const ContextView context = ViewContext(owner);
    if (context.csp == nullptr) {
        return FALSE;
    }
    if (result == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    KeyTable::Reservation reservation = KeyTable::Reserve();
    if (!reservation) {
        return Fail(NTE_NO_MEMORY);
    }
    HCRYPTKEY key = 0;
    if (!make(context, &key)) {
        return FALSE;
    }
    *result = Publish(&reservation, owner, context, key);
    return TRUE;
}

}  // namespace

}  // namespace capi

using capi::FindCompanion;

BOOL WINAPI CryptGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey) {
    return capi::MakeKey(hProv, phKey, [=](const ContextView& context, HCRYPTKEY* key) {
        return context.csp->genKey(context.handle, Algid, dwFlags, key);
    });
}

BOOL WINAPI CryptGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey) {
    return capi::MakeKey(hProv, phUserKey, [=](const ContextView& context, HCRYPTKEY* key) {
        return context.csp->getUserKey(context.handle, dwKeySpec, key);
    });
}

BOOL WINAPI CryptImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD dwDataLen, HCRYPTKEY hPubKey,
                           DWORD dwFlags, HCRYPTKEY* phKey) {
    return capi::MakeKey(hProv, phKey, [=](const ContextView& context, HCRYPTKEY* key) -> BOOL {
        HCRYPTKEY wrapping = 0;
        return FindCompanion<KeyTable>(hPubKey, context.csp, NTE_BAD_KEY, &wrapping) &&
               context.csp->importKey(context.handle, pbData, dwDataLen, wrapping, dwFlags, key);
    });
}

BOOL WINAPI CryptExportKey(HCRYPTKEY hKey, HCRYPTKEY hExpKey, DWORD dwBlobType, DWORD dwFlags,
                           BYTE* pbData, DWORD* pdwDataLen) {
    const ObjectView key = capi::ViewObject<KeyTable>(hKey);
    HCRYPTKEY wrapping = 0;
    return key.csp != nullptr &&
           FindCompanion<KeyTable>(hExpKey, key.csp, NTE_BAD_KEY, &wrapping) &&
           key.csp->exportKey(key.context, key.handle, wrapping, dwBlobType, dwFlags, pbData,
                              pdwDataLen);
}

BOOL WINAPI CryptEncrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags, BYTE* pbData,
                         DWORD* pdwDataLen, DWORD dwBufLen) {
    const ObjectView key = capi::ViewObject<KeyTable>(hKey);
    HCRYPTHASH hash = 0;
    return key.csp != nullptr && FindCompanion<HashTable>(hHash, key.csp, NTE_BAD_HASH, &hash) &&
           key.csp->encrypt(key.context, key.handle, hash, Final, dwFlags, pbData, pdwDataLen,
                            dwBufLen);
}

BOOL WINAPI CryptDecrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags, BYTE* pbData,
                         DWORD* pdwDataLen) {
    const ObjectView key = capi::ViewObject<KeyTable>(hKey);
    HCRYPTHASH hash = 0;
    return key.csp != nullptr && FindCompanion<HashTable>(hHash, key.csp, NTE_BAD_HASH, &hash) &&
           key.csp->decrypt(key.context, key.handle, hash, Final, dwFlags, pbData, pdwDataLen);
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
