#include "integration/own_keys_failing_csp.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "csp.h"

namespace {

own_keys::FailingCsp control;

template <typename Function>
Function* Real(const char* name) {
    static void* const library = dlopen(MVLPFX_REAL_CSP, RTLD_NOW | RTLD_LOCAL);
    void* const function = library == nullptr ? nullptr : dlsym(library, name);
    if (function == nullptr) {
        std::abort();
    }
    return reinterpret_cast<Function*>(function);
}

// A context, and how many keys and hashes of it are open.
struct OpenContext {
    HCRYPTPROV handle = 0;
    int objects = 0;
};
// In memory of its own, so that nothing is asked for.
std::array<OpenContext, 256> contexts;

// The entry of a context; that of 0 is one that is free.
OpenContext& Find(HCRYPTPROV handle) {
    const auto found = std::ranges::find(contexts, handle, &OpenContext::handle);
    if (found == contexts.end()) {
        std::abort();
    }
    return *found;
}

// Answers whether this call is the one to be refused.
bool IsRefused() {
    if (control.callsUntilRefusal < 0 || control.callsUntilRefusal-- != 0) {
        return false;
    }
    SetLastError(static_cast<DWORD>(NTE_FAIL));
    return true;
}

// `change` is what a call that succeeds does to the number of open keys and hashes.
template <typename Function, typename... Arguments>
BOOL Forward(const char* name, int change, HCRYPTPROV context, Arguments... arguments) {
    if (change >= 0 && IsRefused()) {
        return FALSE;
    }
    const BOOL answer = Real<Function>(name)(context, arguments...);
    if (answer != FALSE && change != 0) {
        control.openObjects += change;
        Find(context).objects += change;
    }
    return answer;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) own_keys::FailingCsp* FailingCspControl() {
    control.releaseContexts = [] {
        for (const OpenContext& context : contexts) {
            if (context.handle != 0) {
                CPReleaseContext(context.handle, 0);
            }
        }
    };
    return &control;
}

BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags,
                             PVTableProvStruc pVTable) {
    if (IsRefused() || !Real<decltype(CPAcquireContext)>("CPAcquireContext")(phProv, szContainer,
                                                                             dwFlags, pVTable)) {
        return FALSE;
    }
    if ((dwFlags & CRYPT_DELETEKEYSET) == 0) {
        ++control.openObjects;
        Find(0) = {*phProv, 0};
    }
    return TRUE;
}

BOOL WINAPI CPReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
    const BOOL answer = Real<decltype(CPReleaseContext)>("CPReleaseContext")(hProv, dwFlags);
    if (answer != FALSE) {
        OpenContext& context = Find(hProv);
        control.openObjects -= 1 + context.objects;
        context = {};
    }
    return answer;
}

BOOL WINAPI CPGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen,
                           DWORD dwFlags) {
    return Forward<decltype(CPGetProvParam)>("CPGetProvParam", 0, hProv, dwParam, pbData,
                                             pcbDataLen, dwFlags);
}

BOOL WINAPI CPSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
    return Forward<decltype(CPSetProvParam)>("CPSetProvParam", 0, hProv, dwParam, pbData, dwFlags);
}

BOOL WINAPI CPGenRandom(HCRYPTPROV hProv, DWORD cbBuffer, BYTE* pbBuffer) {
    return Forward<decltype(CPGenRandom)>("CPGenRandom", 0, hProv, cbBuffer, pbBuffer);
}

BOOL WINAPI CPGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey) {
    return Forward<decltype(CPGenKey)>("CPGenKey", 1, hProv, Algid, dwFlags, phKey);
}

BOOL WINAPI CPDestroyKey(HCRYPTPROV hProv, HCRYPTKEY hKey) {
    return Forward<decltype(CPDestroyKey)>("CPDestroyKey", -1, hProv, hKey);
}

BOOL WINAPI CPGetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData,
                          DWORD* pcbDataLen, DWORD dwFlags) {
    return Forward<decltype(CPGetKeyParam)>("CPGetKeyParam", 0, hProv, hKey, dwParam, pbData,
                                            pcbDataLen, dwFlags);
}

BOOL WINAPI CPSetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData,
                          DWORD dwFlags) {
    return Forward<decltype(CPSetKeyParam)>("CPSetKeyParam", 0, hProv, hKey, dwParam, pbData,
                                            dwFlags);
}

BOOL WINAPI CPCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags,
                         HCRYPTHASH* phHash) {
    return Forward<decltype(CPCreateHash)>("CPCreateHash", 1, hProv, Algid, hKey, dwFlags, phHash);
}

BOOL WINAPI CPHashData(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbData, DWORD cbDataLen,
                       DWORD dwFlags) {
    return Forward<decltype(CPHashData)>("CPHashData", 0, hProv, hHash, pbData, cbDataLen, dwFlags);
}

BOOL WINAPI CPGetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData,
                           DWORD* pcbDataLen, DWORD dwFlags) {
    return Forward<decltype(CPGetHashParam)>("CPGetHashParam", 0, hProv, hHash, dwParam, pbData,
                                             pcbDataLen, dwFlags);
}

BOOL WINAPI CPSetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, const BYTE* pbData,
                           DWORD dwFlags) {
    return Forward<decltype(CPSetHashParam)>("CPSetHashParam", 0, hProv, hHash, dwParam, pbData,
                                             dwFlags);
}

BOOL WINAPI CPDuplicateHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD* pdwReserved, DWORD dwFlags,
                            HCRYPTHASH* phHash) {
    return Forward<decltype(CPDuplicateHash)>("CPDuplicateHash", 1, hProv, hHash, pdwReserved,
                                              dwFlags, phHash);
}

BOOL WINAPI CPDestroyHash(HCRYPTPROV hProv, HCRYPTHASH hHash) {
    return Forward<decltype(CPDestroyHash)>("CPDestroyHash", -1, hProv, hHash);
}

BOOL WINAPI CPGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey) {
    return Forward<decltype(CPGetUserKey)>("CPGetUserKey", 1, hProv, dwKeySpec, phUserKey);
}

BOOL WINAPI CPExportKey(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTKEY hPubKey, DWORD dwBlobType,
                        DWORD dwFlags, BYTE* pbData, DWORD* pcbDataLen) {
    return Forward<decltype(CPExportKey)>("CPExportKey", 0, hProv, hKey, hPubKey, dwBlobType,
                                          dwFlags, pbData, pcbDataLen);
}

BOOL WINAPI CPImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD cbDataLen, HCRYPTKEY hPubKey,
                        DWORD dwFlags, HCRYPTKEY* phKey) {
    return Forward<decltype(CPImportKey)>("CPImportKey", 1, hProv, pbData, cbDataLen, hPubKey,
                                          dwFlags, phKey);
}

BOOL WINAPI CPEncrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags,
                      BYTE* pbData, DWORD* pcbDataLen, DWORD cbBufLen) {
    return Forward<decltype(CPEncrypt)>("CPEncrypt", 0, hProv, hKey, hHash, Final, dwFlags, pbData,
                                        pcbDataLen, cbBufLen);
}

BOOL WINAPI CPDecrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags,
                      BYTE* pbData, DWORD* pcbDataLen) {
    return Forward<decltype(CPDecrypt)>("CPDecrypt", 0, hProv, hKey, hHash, Final, dwFlags, pbData,
                                        pcbDataLen);
}

BOOL WINAPI CPSignHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwKeySpec, LPCWSTR sDescription,
                       DWORD dwFlags, BYTE* pbSignature, DWORD* pcbSigLen) {
    return Forward<decltype(CPSignHash)>("CPSignHash", 0, hProv, hHash, dwKeySpec, sDescription,
                                         dwFlags, pbSignature, pcbSigLen);
}

BOOL WINAPI CPVerifySignature(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbSignature,
                              DWORD cbSigLen, HCRYPTKEY hPubKey, LPCWSTR sDescription,
                              DWORD dwFlags) {
    return Forward<decltype(CPVerifySignature)>("CPVerifySignature", 0, hProv, hHash, pbSignature,
                                                cbSigLen, hPubKey, sDescription, dwFlags);
}
