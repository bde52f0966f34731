/* Certificate stores: in memory, and the system stores "MY", "CA" and "ROOT" of user and machine.
 *
 * A system store is a folder, stores/NAME under the state folder of the user (VELMORIX_HOME, else
 * XDG_DATA_HOME/velmorix, else .local/share/velmorix in the home folder) or of the machine
 * (VELMORIX_MACHINE_HOME, else /var/lib/velmorix); the variables count for nothing in a set-user-id
 * process. Each certificate is one file, named by its SHA-1, with its properties behind it. Files
 * are written whole, flushed and renamed; writers of all processes take turns by a lock on the file
 * ".lock", which ends with its process, and readers need none. Changes of other processes are seen
 * when a walk begins and before anything is added.
 *
 * A file that is damaged or cannot be read is left as it is and passed over: syslog names it, and
 * the walk's end leaves CRYPT_E_FILE_ERROR in the place of CRYPT_E_NOT_FOUND.
 *
 * Whatever reaches a file may fail with ERROR_ACCESS_DENIED, ERROR_WRITE_PROTECT, ERROR_DISK_FULL,
 * ERROR_PATH_NOT_FOUND or CRYPT_E_FILE_ERROR; the files are then as they were. A handle that is no
 * open store gives ERROR_INVALID_HANDLE. */
#pragma once

#include "capi/certificates.h"

#define CERT_STORE_PROV_MEMORY ((LPCSTR)2)
#define CERT_STORE_PROV_SYSTEM_A ((LPCSTR)9)
#define CERT_STORE_PROV_SYSTEM_W ((LPCSTR)10)
#define CERT_STORE_PROV_SYSTEM CERT_STORE_PROV_SYSTEM_W
#define sz_CERT_STORE_PROV_MEMORY "Memory"
#define sz_CERT_STORE_PROV_SYSTEM_W "System"
#define sz_CERT_STORE_PROV_SYSTEM sz_CERT_STORE_PROV_SYSTEM_W

#define CERT_STORE_DEFER_CLOSE_UNTIL_LAST_FREE_FLAG 0x00000004
#define CERT_STORE_DELETE_FLAG 0x00000010
#define CERT_STORE_SHARE_CONTEXT_FLAG 0x00000080
#define CERT_STORE_ENUM_ARCHIVED_FLAG 0x00000200
#define CERT_STORE_MAXIMUM_ALLOWED_FLAG 0x00001000
#define CERT_STORE_CREATE_NEW_FLAG 0x00002000
#define CERT_STORE_OPEN_EXISTING_FLAG 0x00004000
#define CERT_STORE_READONLY_FLAG 0x00008000
#define CERT_SYSTEM_STORE_LOCATION_MASK 0x00FF0000
#define CERT_SYSTEM_STORE_CURRENT_USER 0x00010000
#define CERT_SYSTEM_STORE_LOCAL_MACHINE 0x00020000

#define CERT_CLOSE_STORE_FORCE_FLAG 0x00000001
#define CERT_CLOSE_STORE_CHECK_FLAG 0x00000002

#define CERT_STORE_ADD_NEW 1
#define CERT_STORE_ADD_USE_EXISTING 2
#define CERT_STORE_ADD_REPLACE_EXISTING 3
#define CERT_STORE_ADD_ALWAYS 4
#define CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES 5
#define CERT_STORE_ADD_NEWER 6
#define CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES 7

#define CERT_INFO_ISSUER_FLAG 4
#define CERT_INFO_SUBJECT_FLAG 7
#define CERT_COMPARE_SHIFT 16
#define CERT_FIND_ANY 0x00000000
#define CERT_FIND_SHA1_HASH 0x00010000
#define CERT_FIND_HASH CERT_FIND_SHA1_HASH
#define CERT_FIND_SUBJECT_NAME 0x00020007
#define CERT_FIND_ISSUER_NAME 0x00020004
#define CERT_FIND_MD5_HASH 0x00040000
#define CERT_FIND_PROPERTY 0x00050000
#define CERT_FIND_SUBJECT_STR_A 0x00070007
#define CERT_FIND_ISSUER_STR_A 0x00070004
#define CERT_FIND_SUBJECT_STR_W 0x00080007
#define CERT_FIND_ISSUER_STR_W 0x00080004
#define CERT_FIND_SUBJECT_STR CERT_FIND_SUBJECT_STR_W
#define CERT_FIND_ISSUER_STR CERT_FIND_ISSUER_STR_W
#define CERT_FIND_SUBJECT_CERT 0x000B0000
#define CERT_FIND_ISSUER_OF 0x000C0000
#define CERT_FIND_EXISTING 0x000D0000
#define CERT_FIND_HAS_PRIVATE_KEY 0x00150000

#define CERT_STORE_SIGNATURE_FLAG 0x00000001
#define CERT_STORE_TIME_VALIDITY_FLAG 0x00000002
#define CERT_STORE_REVOCATION_FLAG 0x00000004
#define CERT_STORE_NO_CRL_FLAG 0x00010000

VLXCAPI_BEGIN

/* Opens a store, closed with CertCloseStore. The provider is one of the above, by number or by its
 * text; `pvPara` is the system store's name, whose case counts for nothing. The three system stores
 * always exist, so that CERT_STORE_OPEN_EXISTING_FLAG finds them and CERT_STORE_CREATE_NEW_FLAG
 * fails with ERROR_FILE_EXISTS; their folders are made by the first addition. With
 * CERT_STORE_READONLY_FLAG the files are not written. Null with ERROR_FILE_NOT_FOUND for another
 * provider or name; E_INVALIDARG for a location that is neither user nor machine or
 * CERT_STORE_DELETE_FLAG. */
VLXCAPI HCERTSTORE WINAPI CertOpenStore(LPCSTR lpszStoreProvider, DWORD dwEncodingType,
                                        HCRYPTPROV_LEGACY hCryptProv, DWORD dwFlags,
                                        const void* pvPara);

/* The user's system store of that name. */
VLXCAPI HCERTSTORE WINAPI CertOpenSystemStoreA(HCRYPTPROV_LEGACY hProv, LPCSTR szSubsystemProtocol);

/* One close more is needed. Null for a handle that is none. */
VLXCAPI HCERTSTORE WINAPI CertDuplicateStore(HCERTSTORE hCertStore);

/* Closes; null is closed to no effect. Contexts that are left stay good until they are freed. With
 * CERT_CLOSE_STORE_CHECK_FLAG, FALSE and CRYPT_E_PENDING_CLOSE tell that some are, though the store
 * is closed; with CERT_CLOSE_STORE_FORCE_FLAG they are freed whoever holds them. */
VLXCAPI BOOL WINAPI CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags);

/* Adds a copy of the context with its properties but for provider handles, and answers the element
 * in `*ppStoreContext` (may be null), which the caller frees. Where the same bytes are there
 * already:
 *   NEW                    fails with CRYPT_E_EXISTS
 *   USE_EXISTING           keeps the element and gives it those properties that it lacks
 *   REPLACE_EXISTING       takes its place; ..._INHERIT_PROPERTIES gives the new one the old one's
 *                          properties that it lacks
 *   ALWAYS                 adds a second one; in a system store, takes its place
 * NEWER replaces a certificate of the same issuer and serial number that became valid earlier and
 * else fails with CRYPT_E_EXISTS; ..._INHERIT_PROPERTIES as above. E_INVALIDARG for another
 * disposition; ERROR_ACCESS_DENIED in a store opened for reading. */
VLXCAPI BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE hCertStore,
                                                     PCCERT_CONTEXT pCertContext,
                                                     DWORD dwAddDisposition,
                                                     PCCERT_CONTEXT* ppStoreContext);

/* The same from encoded bytes; a null store gives a context of no store. */
VLXCAPI BOOL WINAPI CertAddEncodedCertificateToStore(HCERTSTORE hCertStore,
                                                     DWORD dwCertEncodingType,
                                                     const BYTE* pbCertEncoded, DWORD cbCertEncoded,
                                                     DWORD dwAddDisposition,
                                                     PCCERT_CONTEXT* ppCertContext);

/* The element after `pPrevCertContext` (null: the first), which the call frees; the caller frees
 * the answer, by this call or with CertFreeCertificateContext. Null past the last one, with
 * CRYPT_E_NOT_FOUND. An element that was deleted on the way still leads to the next. */
VLXCAPI PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE hCertStore,
                                                          PCCERT_CONTEXT pPrevCertContext);

/* The next element that answers to `pvFindPara`: a CRYPT_HASH_BLOB for hashes, CERT_NAME_BLOB for
 * names, text that is looked for in the name without regard to case, a property's number by
 * DWORD pointer, a CERT_INFO (SUBJECT_CERT) or a PCCERT_CONTEXT (ISSUER_OF, EXISTING). Walks, frees
 * and fails as CertEnumCertificatesInStore does; E_INVALIDARG for other kinds, flags or a missing
 * parameter. */
VLXCAPI PCCERT_CONTEXT WINAPI CertFindCertificateInStore(HCERTSTORE hCertStore,
                                                         DWORD dwCertEncodingType,
                                                         DWORD dwFindFlags, DWORD dwFindType,
                                                         const void* pvFindPara,
                                                         PCCERT_CONTEXT pPrevCertContext);

/* Takes the element out of its store and frees the context in every case. TRUE where it is out
 * already; E_INVALIDARG for a context of no store; ERROR_ACCESS_DENIED in a store opened for
 * reading. */
VLXCAPI BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext);

/* The next element whose subject is the issuer of `pSubjectContext`, in the manner of
 * CertEnumCertificatesInStore; CRYPT_E_SELF_SIGNED where subject and issuer are the same. Of the
 * checks asked for in `*pdwFlags` those that pass lose their bit: CERT_STORE_SIGNATURE_FLAG where
 * the signature is good (one of an algorithm that OpenSSL alone does not have is not),
 * CERT_STORE_TIME_VALIDITY_FLAG where the subject is valid now. There are no lists of revoked
 * certificates: CERT_STORE_REVOCATION_FLAG stays and CERT_STORE_NO_CRL_FLAG comes beside it.
 * E_INVALIDARG for other flags. */
VLXCAPI PCCERT_CONTEXT WINAPI CertGetIssuerCertificateFromStore(HCERTSTORE hCertStore,
                                                                PCCERT_CONTEXT pSubjectContext,
                                                                PCCERT_CONTEXT pPrevIssuerContext,
                                                                DWORD* pdwFlags);

VLXCAPI_END
