// Hashes, as calls on the provider that made them. A key derivation makes thousands of them, so
// that nothing here asks for memory or waits for a lock.
#include <span>

#include "capi/contexts.h"

namespace capi {

namespace {

BOOL SignHash(HCRYPTHASH handle, DWORD keySpec, const void* description, DWORD flags,
              BYTE* signature, DWORD* size) {
    const ObjectView hash = ViewObject<HashTable>(handle);
    if (hash.csp == nullptr) {
        return FALSE;
    }
    if (description != nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return hash.csp->signHash(hash.context, hash.handle, keySpec, nullptr, flags, signature, size);
}

BOOL VerifySignature(HCRYPTHASH handle, std::span<const BYTE> signature, HCRYPTKEY publicKey,
                     const void* description, DWORD flags) {
    const ObjectView hash = ViewObject<HashTable>(handle);
    if (hash.csp == nullptr) {
        return FALSE;
    }
    if (description != nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    HCRYPTKEY key = 0;
    return FindCompanion<KeyTable>(publicKey, hash.csp, NTE_BAD_KEY, &key) &&
           hash.csp->verifySignature(hash.context, hash.handle, signature.data(),
                                     static_cast<DWORD>(signature.size()), key, nullptr, flags);
}

}  // namespace

}  // namespace capi

using capi::ContextView;
using capi::Csp;
using capi::Fail;
using capi::FindCompanion;
using capi::HashTable;
using capi::KeyTable;
using capi::ObjectView;

BOOL WINAPI CryptCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags,
                            HCRYPTHASH* phHash) {
    const ContextView context = capi::ViewContext(hProv);
    if (context.csp == nullptr) {
        return FALSE;
    }
    HCRYPTKEY key = 0;
    if (!FindCompanion<KeyTable>(hKey, context.csp, NTE_BAD_KEY, &key)) {
        return FALSE;
    }
    if (phHash == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    HashTable::Reservation reservation = HashTable::Reserve();
    if (!reservation) {
        return Fail(NTE_NO_MEMORY);
    }
    HCRYPTHASH hash = 0;
    if (!context.csp->createHash(context.handle, Algid, key, dwFlags, &hash)) {
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

BOOL WINAPI CryptSignHashA(HCRYPTHASH hHash, DWORD dwKeySpec, LPCSTR szDescription, DWORD dwFlags,
                           BYTE* pbSignature, DWORD* pdwSigLen) {
    return capi::SignHash(hHash, dwKeySpec, szDescription, dwFlags, pbSignature, pdwSigLen);
}

BOOL WINAPI CryptSignHashW(HCRYPTHASH hHash, DWORD dwKeySpec, LPCWSTR szDescription, DWORD dwFlags,
                           BYTE* pbSignature, DWORD* pdwSigLen) {
    return capi::SignHash(hHash, dwKeySpec, szDescription, dwFlags, pbSignature, pdwSigLen);
}

BOOL WINAPI CryptVerifySignatureA(HCRYPTHASH hHash, const BYTE* pbSignature, DWORD dwSigLen,
                                  HCRYPTKEY hPubKey, LPCSTR szDescription, DWORD dwFlags) {
    return capi::VerifySignature(hHash, {pbSignature, dwSigLen}, hPubKey, szDescription, dwFlags);
}

BOOL WINAPI CryptVerifySignatureW(HCRYPTHASH hHash, const BYTE* pbSignature, DWORD dwSigLen,
                                  HCRYPTKEY hPubKey, LPCWSTR szDescription, DWORD dwFlags) {
    return capi::VerifySignature(hHash, {pbSignature, dwSigLen}, hPubKey, szDescription, dwFlags);
}
