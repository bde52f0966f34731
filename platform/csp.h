/* What a cryptographic service provider exports, and what it learns of its caller. The handles are
 * the provider's own, and it checks them itself. Every function answers TRUE, or FALSE with the
 * reason in the last error. */
#pragma once

#include "cryptoapi.h"

#ifdef _WIN32
#define CSP_EXPORT
#else
#define CSP_EXPORT __attribute__((visibility("default")))
#endif

typedef BOOL(WINAPI* CRYPT_VERIFY_IMAGE_A)(LPCSTR szImage, const BYTE* pbSigData);
typedef void(WINAPI* CRYPT_RETURN_HWND)(HWND* phWnd);

/* Valid during CPAcquireContext alone. */
typedef struct _VTableProvStruc {
    DWORD Version;
    CRYPT_VERIFY_IMAGE_A FuncVerifyImage;
    CRYPT_RETURN_HWND FuncReturnhWnd;
    DWORD dwProvType;
    BYTE* pbContextInfo;
    DWORD cbContextInfo;
    LPSTR pszProvName;
} VTableProvStruc, *PVTableProvStruc;

#ifdef __cplusplus
extern "C" {
#endif

CSP_EXPORT BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags,
                                        PVTableProvStruc pVTable);
CSP_EXPORT BOOL WINAPI CPReleaseContext(HCRYPTPROV hProv, DWORD dwFlags);
CSP_EXPORT BOOL WINAPI CPGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData,
                                      DWORD* pcbDataLen, DWORD dwFlags);
CSP_EXPORT BOOL WINAPI CPSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData,
                                      DWORD dwFlags);
CSP_EXPORT BOOL WINAPI CPGenRandom(HCRYPTPROV hProv, DWORD cbBuffer, BYTE* pbBuffer);

CSP_EXPORT BOOL WINAPI CPGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey);
CSP_EXPORT BOOL WINAPI CPDestroyKey(HCRYPTPROV hProv, HCRYPTKEY hKey);
CSP_EXPORT BOOL WINAPI CPGetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData,
                                     DWORD* pcbDataLen, DWORD dwFlags);
CSP_EXPORT BOOL WINAPI CPSetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam,
                                     const BYTE* pbData, DWORD dwFlags);

CSP_EXPORT BOOL WINAPI CPGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey);
/* hPubKey is the key that wraps; 0 for none. */
CSP_EXPORT BOOL WINAPI CPExportKey(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTKEY hPubKey,
                                   DWORD dwBlobType, DWORD dwFlags, BYTE* pbData,
                                   DWORD* pcbDataLen);
CSP_EXPORT BOOL WINAPI CPImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD cbDataLen,
                                   HCRYPTKEY hPubKey, DWORD dwFlags, HCRYPTKEY* phKey);
CSP_EXPORT BOOL WINAPI CPEncrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final,
                                 DWORD dwFlags, BYTE* pbData, DWORD* pcbDataLen, DWORD cbBufLen);
CSP_EXPORT BOOL WINAPI CPDecrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final,
                                 DWORD dwFlags, BYTE* pbData, DWORD* pcbDataLen);

CSP_EXPORT BOOL WINAPI CPCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags,
                                    HCRYPTHASH* phHash);
CSP_EXPORT BOOL WINAPI CPHashData(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbData,
                                  DWORD cbDataLen, DWORD dwFlags);
CSP_EXPORT BOOL WINAPI CPGetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam,
                                      BYTE* pbData, DWORD* pcbDataLen, DWORD dwFlags);
CSP_EXPORT BOOL WINAPI CPSetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam,
                                      const BYTE* pbData, DWORD dwFlags);
CSP_EXPORT BOOL WINAPI CPDuplicateHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD* pdwReserved,
                                       DWORD dwFlags, HCRYPTHASH* phHash);
CSP_EXPORT BOOL WINAPI CPDestroyHash(HCRYPTPROV hProv, HCRYPTHASH hHash);
/* The description is null. */
CSP_EXPORT BOOL WINAPI CPSignHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwKeySpec,
                                  LPCWSTR sDescription, DWORD dwFlags, BYTE* pbSignature,
                                  DWORD* pcbSigLen);
CSP_EXPORT BOOL WINAPI CPVerifySignature(HCRYPTPROV hProv, HCRYPTHASH hHash,
                                         const BYTE* pbSignature, DWORD cbSigLen, HCRYPTKEY hPubKey,
                                         LPCWSTR sDescription, DWORD dwFlags);

#ifdef __cplusplus
}
#endif
