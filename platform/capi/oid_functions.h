/* Functions that libraries offer for an object identifier, found by the name of their set.
 *
 * The table is the file oid_functions.toml in the state folder of the machine (see cert_store.h),
 * written whole, flushed and renamed under the folder's lock. Names of sets and identifiers do not
 * depend on case. A file that is damaged or cannot be read is left as it is; syslog names it, and
 * the calls fail with CRYPT_E_FILE_ERROR or ERROR_ACCESS_DENIED. */
#pragma once

#include "capi/certificates.h"

#define CRYPT_GET_INSTALLED_OID_FUNC_FLAG 0x1

typedef void* HCRYPTOIDFUNCSET;
typedef void* HCRYPTOIDFUNCADDR;

VLXCAPI_BEGIN

/* Enters a function: `pszOverrideFuncName` (null: named as the set) of the library `pwszDll`. An
 * entry of the same encoding, set and identifier is replaced. Of the encoding, the certificate's
 * part counts, or else the message's. E_INVALIDARG for a missing set, identifier or library; the
 * words of a failed write. */
VLXCAPI BOOL WINAPI CryptRegisterOIDFunction(DWORD dwEncodingType, LPCSTR pszFuncName,
                                             LPCSTR pszOID, LPCWSTR pwszDll,
                                             LPCSTR pszOverrideFuncName);

/* Removes an entry; ERROR_FILE_NOT_FOUND where there is none. */
VLXCAPI BOOL WINAPI CryptUnregisterOIDFunction(DWORD dwEncodingType, LPCSTR pszFuncName,
                                               LPCSTR pszOID);

/* The set of that name, the same whenever it is asked for; it is not released. Null with
 * E_INVALIDARG for a missing name or flags. */
VLXCAPI HCRYPTOIDFUNCSET WINAPI CryptInitOIDFunctionSet(LPCSTR pszFuncName, DWORD dwFlags);

/* Loads the entry's library and gives the function, good until CryptFreeOIDFunctionAddress.
 * ERROR_FILE_NOT_FOUND where there is no entry, or where CRYPT_GET_INSTALLED_OID_FUNC_FLAG asks for
 * functions of the process alone, of which there are none; ERROR_MOD_NOT_FOUND for a library whose
 * path is not absolute or that does not load; ERROR_PROC_NOT_FOUND for a function that it lacks;
 * E_INVALIDARG for a wrong set, missing pointers or other flags. */
VLXCAPI BOOL WINAPI CryptGetOIDFunctionAddress(HCRYPTOIDFUNCSET hFuncSet, DWORD dwEncodingType,
                                               LPCSTR pszOID, DWORD dwFlags, void** ppvFuncAddr,
                                               HCRYPTOIDFUNCADDR* phFuncAddr);

/* Unloads the library with its last function. Null is freed to no effect; E_INVALIDARG for what is
 * no function's handle. */
VLXCAPI BOOL WINAPI CryptFreeOIDFunctionAddress(HCRYPTOIDFUNCADDR hFuncAddr, DWORD dwFlags);

VLXCAPI_END
