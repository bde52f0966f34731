/* Contexts, keys and hashes of a cryptographic service provider.
 *
 * Every function answers TRUE, or FALSE with the reason in the last error. What capi itself checks:
 * a handle that is null, wrong or already released gives ERROR_INVALID_HANDLE, a missing pointer
 * ERROR_INVALID_PARAMETER. Whatever else is wrong, the provider tells.
 *
 * Keys and hashes belong to their context: its last release destroys those that are left. A
 * context and its keys may be used by several threads at once; a hash belongs to one at a time. */
#pragma once

#include "capi/types.h"

typedef ULONG_PTR HCRYPTPROV;
typedef ULONG_PTR HCRYPTKEY;
typedef ULONG_PTR HCRYPTHASH;
typedef unsigned int ALG_ID;

/* Of CryptAcquireContextA. */
#define CRYPT_VERIFYCONTEXT 0xF0000000
#define CRYPT_NEWKEYSET 0x00000008
#define CRYPT_DELETEKEYSET 0x00000010
#define CRYPT_MACHINE_KEYSET 0x00000020
#define CRYPT_SILENT 0x00000040

/* Of keys. */
#define CRYPT_EXPORTABLE 0x00000001
#define CRYPT_USER_PROTECTED 0x00000002
#define CRYPT_ENCRYPT 0x0001
#define CRYPT_DECRYPT 0x0002
#define CRYPT_EXPORT 0x0004
#define CRYPT_READ 0x0008
#define CRYPT_WRITE 0x0010
#define CRYPT_MAC 0x0020
#define AT_KEYEXCHANGE 1
#define AT_SIGNATURE 2

/* Of exported keys. */
#define PUBLICKEYBLOB 6
#define PRIVATEKEYBLOB 7
#define CUR_BLOB_VERSION 2

#define ALG_CLASS_ANY 0
#define ALG_CLASS_SIGNATURE (1 << 13)
#define ALG_CLASS_MSG_ENCRYPT (2 << 13)
#define ALG_CLASS_DATA_ENCRYPT (3 << 13)
#define ALG_CLASS_HASH (4 << 13)
#define ALG_CLASS_KEY_EXCHANGE (5 << 13)
#define GET_ALG_CLASS(x) ((x) & (7 << 13))

#define CALG_SHA 0x00008004
#define CALG_SHA1 0x00008004
#define CALG_HMAC 0x00008009

/* Parameters of keys. */
#define KP_IV 1
#define KP_SALT 2
#define KP_PADDING 3
#define KP_MODE 4
#define KP_MODE_BITS 5
#define KP_PERMISSIONS 6
#define KP_ALGID 7
#define KP_BLOCKLEN 8
#define KP_KEYLEN 9
#define KP_X 14
#define KP_CERTIFICATE 26
#define KP_KEYVAL 30

/* Parameters of hashes. */
#define HP_ALGID 1
#define HP_HASHVAL 2
#define HP_HASHSIZE 4
#define HP_HMAC_INFO 5

/* Parameters of providers. */
#define PP_ENUMALGS 1
#define PP_ENUMCONTAINERS 2
#define PP_IMPTYPE 3
#define PP_NAME 4
#define PP_VERSION 5
#define PP_CONTAINER 6
#define PP_KEYSET_TYPE 27
#define PP_PROVTYPE 16
#define PP_KEYEXCHANGE_PIN 32
#define PP_SIGNATURE_PIN 33
#define PP_UNIQUE_CONTAINER 36

#define CRYPT_IMPL_HARDWARE 1
#define CRYPT_IMPL_SOFTWARE 2
#define CRYPT_IMPL_MIXED 3
#define CRYPT_IMPL_UNKNOWN 4

/* Of PP_ENUMCONTAINERS: where to start, where to go on. With CRYPT_FIRST may stand
 * CRYPT_MACHINE_KEYSET. */
#define CRYPT_FIRST 1
#define CRYPT_NEXT 2

/* What every exported key begins with. */
typedef struct _PUBLICKEYSTRUC {
    BYTE bType;
    BYTE bVersion;
    WORD reserved;
    ALG_ID aiKeyAlg;
} BLOBHEADER, PUBLICKEYSTRUC;

/* Which hash an HMAC runs over. Null strings mean the standard pads. */
typedef struct _HMAC_Info {
    ALG_ID HashAlgid;
    BYTE* pbInnerString;
    DWORD cbInnerString;
    BYTE* pbOuterString;
    DWORD cbOuterString;
} HMAC_INFO, *PHMAC_INFO;

VLXCAPI_BEGIN

/* Loads the provider and opens a context, released with CryptReleaseContext. `szProvider` is the
 * name of a key under SOFTWARE\Microsoft\Cryptography\Defaults\Provider whose "Type" is
 * `dwProvType` and whose "Image Path" names the library; it stays loaded until the process ends.
 * Null or empty takes the first provider of that type, by name.
 *
 * ERROR_INVALID_PARAMETER for a null result; NTE_BAD_PROV_TYPE for a type of 0 or above 999;
 * NTE_PROV_TYPE_NOT_DEF where no name is given and no provider has the type; NTE_KEYSET_NOT_DEF for
 * an unknown name; NTE_PROV_TYPE_ENTRY_BAD for an entry without "Type"; NTE_PROV_TYPE_NO_MATCH for
 * another type; NTE_PROV_DLL_NOT_FOUND where the file is not there or its path is not absolute;
 * NTE_PROVIDER_DLL_FAIL where it does not load or lacks an entry point; else the provider's own
 * word.
 *
 * Those of the GOST provider: NTE_BAD_FLAGS for flags that are unknown or do not go together;
 * NTE_BAD_KEYSET where there is no such container; NTE_EXISTS where CRYPT_NEWKEYSET would replace
 * one; NTE_BAD_KEYSET_PARAM for a name of more than 260 characters, and for a new container's that
 * has the form of a unique name; NTE_KEYSET_ENTRY_BAD for a damaged container; NTE_PERM for one
 * whose file is another user's or open to others; ERROR_ACCESS_DENIED, ERROR_DISK_FULL and
 * ERROR_WRITE_PROTECT where the system refuses. Null or empty `szContainer` is the container named
 * after the user's login name, with CRYPT_DELETEKEYSET too, which leaves `*phProv` 0. A name is
 * told from others by case; a unique name stands for it. */
VLXCAPI BOOL WINAPI CryptAcquireContextA(HCRYPTPROV* phProv, LPCSTR szContainer, LPCSTR szProvider,
                                         DWORD dwProvType, DWORD dwFlags);

/* One release more is needed. `pdwReserved` is null and `dwFlags` 0: ERROR_INVALID_PARAMETER. */
VLXCAPI BOOL WINAPI CryptContextAddRef(HCRYPTPROV hProv, DWORD* pdwReserved, DWORD dwFlags);

/* Flags other than 0: the reference is released all the same, and the answer is NTE_BAD_FLAGS. */
VLXCAPI BOOL WINAPI CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags);

/* Sizes of parameters: a null `pbData` asks for the size alone; a buffer that is too small gives
 * ERROR_MORE_DATA and the size.
 *
 * Of the GOST provider: PP_NAME, PP_PROVTYPE, PP_VERSION, PP_IMPTYPE and PP_KEYSET_TYPE
 * (CRYPT_MACHINE_KEYSET or 0) of any context; PP_CONTAINER and PP_UNIQUE_CONTAINER of one with a
 * container, else NTE_BAD_TYPE; PP_ENUMCONTAINERS of any, a name with each call, sorted, where the
 * size that is told is that of the longest, and ERROR_NO_MORE_ITEMS ends it; damaged containers are
 * passed over. Further ones stand in csp_parameters.h.
 *
 * PP_SIGNATURE_PIN and PP_KEYEXCHANGE_PIN are set, and mean the same: the PIN of the context's
 * container, 1 to 255 characters with terminator. A container without a PIN takes it; one with a
 * PIN compares, and a wrong one gives SCARD_W_WRONG_CHV. Until it is presented, what needs the
 * private key, or changes the container, gives SCARD_W_CARD_NOT_AUTHENTICATED, or in a CRYPT_SILENT
 * context NTE_SILENT_CONTEXT. NTE_BAD_LEN for an empty or longer one; NTE_BAD_TYPE in a
 * verification context. */
VLXCAPI BOOL WINAPI CryptGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData,
                                      DWORD* pdwDataLen, DWORD dwFlags);
VLXCAPI BOOL WINAPI CryptSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData,
                                      DWORD dwFlags);

VLXCAPI BOOL WINAPI CryptGenRandom(HCRYPTPROV hProv, DWORD dwLen, BYTE* pbBuffer);

/* The key is destroyed with CryptDestroyKey. */
VLXCAPI BOOL WINAPI CryptGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey);
VLXCAPI BOOL WINAPI CryptDestroyKey(HCRYPTKEY hKey);
VLXCAPI BOOL WINAPI CryptGetKeyParam(HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen,
                                     DWORD dwFlags);
VLXCAPI BOOL WINAPI CryptSetKeyParam(HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData,
                                     DWORD dwFlags);

/* The key of the context's container, AT_KEYEXCHANGE or AT_SIGNATURE; destroyed with
 * CryptDestroyKey, which leaves the container's key where it is. */
VLXCAPI BOOL WINAPI CryptGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey);

/* The key as a blob that begins with a BLOBHEADER, encrypted under `hExpKey`, a key of the same
 * provider or 0. Sizes as for parameters. NTE_BAD_KEY for another provider's key. */
VLXCAPI BOOL WINAPI CryptExportKey(HCRYPTKEY hKey, HCRYPTKEY hExpKey, DWORD dwBlobType,
                                   DWORD dwFlags, BYTE* pbData, DWORD* pdwDataLen);
/* The key in such a blob, decrypted with `hPubKey`; destroyed with CryptDestroyKey. */
VLXCAPI BOOL WINAPI CryptImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD dwDataLen,
                                   HCRYPTKEY hPubKey, DWORD dwFlags, HCRYPTKEY* phKey);

/* Encrypts `*pdwDataLen` octets in place, in a buffer of `dwBufLen`; `Final` tells the last piece
 * of a message. `hHash` is 0, or a hash of the same provider that takes the plain text too:
 * NTE_BAD_HASH for another provider's. */
VLXCAPI BOOL WINAPI CryptEncrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags,
                                 BYTE* pbData, DWORD* pdwDataLen, DWORD dwBufLen);
VLXCAPI BOOL WINAPI CryptDecrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags,
                                 BYTE* pbData, DWORD* pdwDataLen);

/* `hKey` is 0 but for keyed hashes. The hash is destroyed with CryptDestroyHash. */
VLXCAPI BOOL WINAPI CryptCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags,
                                    HCRYPTHASH* phHash);
VLXCAPI BOOL WINAPI CryptHashData(HCRYPTHASH hHash, const BYTE* pbData, DWORD dwDataLen,
                                  DWORD dwFlags);
VLXCAPI BOOL WINAPI CryptGetHashParam(HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData,
                                      DWORD* pdwDataLen, DWORD dwFlags);
VLXCAPI BOOL WINAPI CryptSetHashParam(HCRYPTHASH hHash, DWORD dwParam, const BYTE* pbData,
                                      DWORD dwFlags);
VLXCAPI BOOL WINAPI CryptDuplicateHash(HCRYPTHASH hHash, DWORD* pdwReserved, DWORD dwFlags,
                                       HCRYPTHASH* phHash);
VLXCAPI BOOL WINAPI CryptDestroyHash(HCRYPTHASH hHash);

/* Signs the hash's value with the key of the container of the hash's context. Sizes as for
 * parameters. The description is null: ERROR_INVALID_PARAMETER. */
VLXCAPI BOOL WINAPI CryptSignHashA(HCRYPTHASH hHash, DWORD dwKeySpec, LPCSTR szDescription,
                                   DWORD dwFlags, BYTE* pbSignature, DWORD* pdwSigLen);
VLXCAPI BOOL WINAPI CryptSignHashW(HCRYPTHASH hHash, DWORD dwKeySpec, LPCWSTR szDescription,
                                   DWORD dwFlags, BYTE* pbSignature, DWORD* pdwSigLen);
/* NTE_BAD_SIGNATURE where the signature is not that of the hash's value under `hPubKey`. */
VLXCAPI BOOL WINAPI CryptVerifySignatureA(HCRYPTHASH hHash, const BYTE* pbSignature, DWORD dwSigLen,
                                          HCRYPTKEY hPubKey, LPCSTR szDescription, DWORD dwFlags);
VLXCAPI BOOL WINAPI CryptVerifySignatureW(HCRYPTHASH hHash, const BYTE* pbSignature, DWORD dwSigLen,
                                          HCRYPTKEY hPubKey, LPCWSTR szDescription, DWORD dwFlags);

VLXCAPI_END
