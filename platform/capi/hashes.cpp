// Hashes, as calls on the provider that made them. A key derivation makes thousands of them, so
// that nothing here asks for memory or waits for a lock.
#include "capi/contexts.h"

using capi::ContextView;
using capi::Csp;
using capi::Fail;
using capi::HashTable;
using capi::KeyTable;
using capi::ObjectView;

BOOL WINAPI CryptCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags,
                            HCRYPTHASH* phHash) {
    const ContextView context = capi::ViewContext(hProv);
    if (context.csp == nullptr) {
        return FALSE;
    }
    ObjectView key{};
    if (hKey != 0) {
        key = capi::ViewObject<KeyTable>(hKey);
        if (key.csp == nullptr) {
            return FALSE;
        }
        // Another provider's handle would mean nothing to this one, or the wrong thing.
        if (key.csp != context.csp) {
            return Fail(NTE_BAD_KEY);
        }
    }
    if (phHash == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    HashTable::Reservation reservation = HashTable::Reserve();
    if (!reservation) {
        return Fail(NTE_NO_MEMORY);
    }
    HCRYPTHASH hash = 0;
    if (!context.csp->createHash(context.handle, Algid, key.handle, dwFlags, &hash)) {
        return FALSE;
    }
    *phHash = capi::Publish(&reservation, hProv, context, hash);
    return TRUE;
}

BOOL WINAPI CryptHashData(HCRYPTHASH hHash, const BYTE* pbData, DWORD dwDataLen, DWORD dwFlags) {
    const ObjectView hash = capi::ViewObject<HashTable>(hHash);
    return hash.csp != nullptr &&
           hash.csp->hashData(hash.context, hash.handle, pbData, dwDataLen, dwFlags);
}

BOOL WINAPI CryptGetHashParam(HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen,
                              DWORD dwFlags) {
    const ObjectView hash = capi::ViewObject<HashTable>(hHash);
    return hash.csp != nullptr &&
           hash.csp->getHashParam(hash.context, hash.handle, dwParam, pbData, pdwDataLen, dwFlags);
}

BOOL WINAPI CryptSetHashParam(HCRYPTHASH hHash, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
    const ObjectView hash = capi::ViewObject<HashTable>(hHash);
    return hash.csp != nullptr &&
           hash.csp->setHashParam(hash.context, hash.handle, dwParam, pbData, dwFlags);
}

BOOL WINAPI CryptDuplicateHash(HCRYPTHASH hHash, DWORD* pdwReserved, DWORD dwFlags,
                               HCRYPTHASH* phHash) {
    const ObjectView hash = capi::ViewObject<HashTable>(hHash);
    if (hash.csp == nullptr) {
        return FALSE;
    }
    if (phHash == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    HashTable::Reservation reservation = HashTable::Reserve();
    if (!reservation) {
        return Fail(NTE_NO_MEMORY);
    }
    HCRYPTHASH copy = 0;
    if (!hash.csp->duplicateHash(hash.context, hash.handle, pdwReserved, dwFlags, &copy)) {
        return FALSE;
    }
    *phHash =
        capi::Publish(&reservation, HashTable::OwnerOf(hHash), {hash.csp, hash.context}, copy);
    return TRUE;
}

BOOL WINAPI CryptDestroyHash(HCRYPTHASH hHash) {
    return capi::DestroyObject<HashTable>(hHash,
                                          [](const Csp& csp, HCRYPTPROV context, HCRYPTHASH hash) {
                                              return csp.destroyHash(context, hash);
                                          });
}
