// A provider that computes nothing, to see what reaches a provider and what comes back. Built as a
// library of its own that capi loads. Its answers are told by its arguments:
//   CPAcquireContext     a container "refuse" gives NTE_BAD_KEYSET; the context's handle is 100
//   plus
//                        the provider's type
//   CPGenKey             answers the algorithm as the key's handle
//   CPCreateHash         answers the key's handle plus 1 as the hash's
//   CPDestroyKey         refuses with NTE_FAIL where the handle is kStubbornKey, the first time
//   CPSetProvParam       refuses with the flags as the error word; notes the text of a PIN
//   CPGetProvParam       writes the handle of the context; for PP_CONTAINER the container last
//                        acquired, for PP_SIGNATURE_PIN the PIN last set, for PP_KEYSET_TYPE the
//                        flags of the last acquisition
//   CPGetUserKey         answers the key specification as the key's handle
//   CPExportKey          writes the handles of the key and of the wrapping key, added
//   CPImportKey          answers the handle of the wrapping key plus the size as the key's handle
//   CPEncrypt, CPDecrypt set the length to the handles of key and hash, added
//   CPSignHash           writes the handle of the hash plus the key specification
//   CPVerifySignature    NTE_BAD_SIGNATURE unless the first octet is the key's handle
//   CPGetKeyParam        writes the handle of the key
//   CPGetHashParam       writes the handle of the hash
#include <cstring>
#include <string>

#include "csp.h"
#include "support/fake_csp.h"

namespace {

HRESULT WriteHandle(ULONG_PTR handle, BYTE* out, DWORD* size) {
    if (*size < sizeof(handle)) {
        return ERROR_MORE_DATA;
    }
    std::memcpy(out, &handle, sizeof(handle));
    *size = sizeof(handle);
    return S_OK;
}

BOOL Answer(HRESULT status) {
    if (status != S_OK) {
        SetLastError(static_cast<DWORD>(status));
    }
    return status == S_OK;
}

bool IsCallerAsDocumented(const VTableProvStruc& caller) {
    HWND window = reinterpret_cast<HWND>(&window);
    caller.FuncReturnhWnd(&window);
    return caller.Version == 3 && caller.dwProvType == test_support::kFakeCspType &&
           caller.pszProvName != nullptr &&
           std::string(caller.pszProvName) == test_support::kFakeCspName && window == nullptr &&
           caller.FuncVerifyImage("/some/library.so", nullptr) == FALSE;
}

// What was asked last, of each thread by itself.
thread_local bool hasRefused = false;
thread_local std::string lastContainer;
thread_local std::string lastPin;
thread_local DWORD lastFlags = 0;

HRESULT WriteText(const std::string& text, BYTE* out, DWORD* size) {
    if (*size <= text.size()) {
        return ERROR_MORE_DATA;
    }
    std::memcpy(out, text.c_str(), text.size() + 1);
    return S_OK;
}

}  // namespace

BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags,
                             PVTableProvStruc pVTable) {
    if (!IsCallerAsDocumented(*pVTable)) {
        return Answer(NTE_FAIL);
    }
    if (szContainer != nullptr && std::strcmp(szContainer, "refuse") == 0) {
        return Answer(NTE_BAD_KEYSET);
    }
    lastContainer = szContainer == nullptr ? "(none)" : szContainer;
    lastFlags = dwFlags;
    *phProv = (dwFlags & CRYPT_DELETEKEYSET) != 0 ? 0 : 100 + pVTable->dwProvType;
    return TRUE;
}

BOOL WINAPI CPReleaseContext(HCRYPTPROV /*hProv*/, DWORD dwFlags) {
    return Answer(dwFlags == 0 ? S_OK : NTE_BAD_FLAGS);
}

BOOL WINAPI CPGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen,
                           DWORD /*dwFlags*/) {
    if (dwParam == PP_CONTAINER || dwParam == PP_SIGNATURE_PIN) {
        return Answer(
            WriteText(dwParam == PP_CONTAINER ? lastContainer : lastPin, pbData, pcbDataLen));
    }
    if (dwParam == PP_KEYSET_TYPE) {
        std::memcpy(pbData, &lastFlags, sizeof(lastFlags));
        return TRUE;
    }
    return Answer(WriteHandle(hProv, pbData, pcbDataLen));
}

BOOL WINAPI CPSetProvParam(HCRYPTPROV /*hProv*/, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
    if (dwParam == PP_SIGNATURE_PIN) {
        lastPin = reinterpret_cast<const char*>(pbData);
    }
    return Answer(static_cast<HRESULT>(dwFlags));
}

BOOL WINAPI CPGenRandom(HCRYPTPROV /*hProv*/, DWORD cbBuffer, BYTE* pbBuffer) {
    std::memset(pbBuffer, 0x5A, cbBuffer);
    return TRUE;
}

BOOL WINAPI CPGenKey(HCRYPTPROV /*hProv*/, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey) {
    *phKey = Algid;
    return Answer(static_cast<HRESULT>(dwFlags));
}

BOOL WINAPI CPDestroyKey(HCRYPTPROV /*hProv*/, HCRYPTKEY hKey) {
    if (hKey == test_support::kStubbornKey && !hasRefused) {
        hasRefused = true;
        return Answer(NTE_FAIL);
    }
    return TRUE;
}

BOOL WINAPI CPGetKeyParam(HCRYPTPROV /*hProv*/, HCRYPTKEY hKey, DWORD /*dwParam*/, BYTE* pbData,
                          DWORD* pcbDataLen, DWORD /*dwFlags*/) {
    return Answer(WriteHandle(hKey, pbData, pcbDataLen));
}

BOOL WINAPI CPSetKeyParam(HCRYPTPROV /*hProv*/, HCRYPTKEY /*hKey*/, DWORD /*dwParam*/,
                          const BYTE* /*pbData*/, DWORD dwFlags) {
    return Answer(static_cast<HRESULT>(dwFlags));
}

BOOL WINAPI CPCreateHash(HCRYPTPROV /*hProv*/, ALG_ID /*Algid*/, HCRYPTKEY hKey, DWORD dwFlags,
                         HCRYPTHASH* phHash) {
    *phHash = hKey + 1;
    return Answer(static_cast<HRESULT>(dwFlags));
}

BOOL WINAPI CPHashData(HCRYPTPROV /*hProv*/, HCRYPTHASH /*hHash*/, const BYTE* /*pbData*/,
                       DWORD /*cbDataLen*/, DWORD dwFlags) {
    return Answer(static_cast<HRESULT>(dwFlags));
}

BOOL WINAPI CPGetHashParam(HCRYPTPROV /*hProv*/, HCRYPTHASH hHash, DWORD /*dwParam*/, BYTE* pbData,
                           DWORD* pcbDataLen, DWORD /*dwFlags*/) {
    return Answer(WriteHandle(hHash, pbData, pcbDataLen));
}

BOOL WINAPI CPSetHashParam(HCRYPTPROV /*hProv*/, HCRYPTHASH /*hHash*/, DWORD /*dwParam*/,
                           const BYTE* /*pbData*/, DWORD dwFlags) {
    return Answer(static_cast<HRESULT>(dwFlags));
}

BOOL WINAPI CPDuplicateHash(HCRYPTPROV /*hProv*/, HCRYPTHASH hHash, DWORD* /*pdwReserved*/,
                            DWORD dwFlags, HCRYPTHASH* phHash) {
    *phHash = hHash + 1000;
    return Answer(static_cast<HRESULT>(dwFlags));
}

BOOL WINAPI CPDestroyHash(HCRYPTPROV /*hProv*/, HCRYPTHASH /*hHash*/) {
    return TRUE;
}

BOOL WINAPI CPGetUserKey(HCRYPTPROV /*hProv*/, DWORD dwKeySpec, HCRYPTKEY* phUserKey) {
    *phUserKey = dwKeySpec;
    return Answer(dwKeySpec == test_support::kMissingKeySpec ? NTE_NO_KEY : S_OK);
}

BOOL WINAPI CPExportKey(HCRYPTPROV /*hProv*/, HCRYPTKEY hKey, HCRYPTKEY hPubKey,
                        DWORD /*dwBlobType*/, DWORD dwFlags, BYTE* pbData, DWORD* pcbDataLen) {
    return dwFlags == 0 ? Answer(WriteHandle(hKey + hPubKey, pbData, pcbDataLen))
                        : Answer(static_cast<HRESULT>(dwFlags));
}

BOOL WINAPI CPImportKey(HCRYPTPROV /*hProv*/, const BYTE* /*pbData*/, DWORD cbDataLen,
                        HCRYPTKEY hPubKey, DWORD dwFlags, HCRYPTKEY* phKey) {
    *phKey = hPubKey + cbDataLen;
    return Answer(static_cast<HRESULT>(dwFlags));
}

BOOL WINAPI CPEncrypt(HCRYPTPROV /*hProv*/, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL /*Final*/,
                      DWORD dwFlags, BYTE* /*pbData*/, DWORD* pcbDataLen, DWORD /*cbBufLen*/) {
    *pcbDataLen = static_cast<DWORD>(hKey + hHash);
    return Answer(static_cast<HRESULT>(dwFlags));
}

BOOL WINAPI CPDecrypt(HCRYPTPROV /*hProv*/, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL /*Final*/,
                      DWORD dwFlags, BYTE* /*pbData*/, DWORD* pcbDataLen) {
    *pcbDataLen = static_cast<DWORD>(hKey + hHash);
    return Answer(static_cast<HRESULT>(dwFlags));
}

BOOL WINAPI CPSignHash(HCRYPTPROV /*hProv*/, HCRYPTHASH hHash, DWORD dwKeySpec,
                       LPCWSTR sDescription, DWORD dwFlags, BYTE* pbSignature, DWORD* pcbSigLen) {
    if (dwFlags != 0 || sDescription != nullptr) {
        return Answer(static_cast<HRESULT>(dwFlags));
    }
    return Answer(WriteHandle(hHash + dwKeySpec, pbSignature, pcbSigLen));
}

BOOL WINAPI CPVerifySignature(HCRYPTPROV /*hProv*/, HCRYPTHASH /*hHash*/, const BYTE* pbSignature,
                              DWORD cbSigLen, HCRYPTKEY hPubKey, LPCWSTR /*sDescription*/,
                              DWORD dwFlags) {
    const bool isGood = cbSigLen != 0 && *pbSignature == hPubKey;
    return Answer(isGood ? static_cast<HRESULT>(dwFlags) : NTE_BAD_SIGNATURE);
}
