/* X.509 certificates: contexts, what is known of them, and the keys that belong to them.
 *
 * A context is shared by reference count and never changes, but for its properties. Every function
 * may be called by any thread at any time. A pointer that is no live context is told from one: the
 * call fails with E_INVALIDARG, or does nothing where it has no result. */
#pragma once

#include "capi/last_error.h"
#include "capi/provider.h"
#include "capi/types.h"

#define CRYPT_E_PENDING_CLOSE VLXCAPI_HRESULT(0x8009200F)
#define CRYPT_E_SELF_SIGNED VLXCAPI_HRESULT(0x80092007)
#define CRYPT_E_NO_KEY_PROPERTY VLXCAPI_HRESULT(0x8009200B)

#define CRYPT_ASN_ENCODING 0x00000001
#define X509_ASN_ENCODING 0x00000001
#define PKCS_7_ASN_ENCODING 0x00010000
#define CERT_ENCODING_TYPE_MASK 0x0000FFFF
#define CMSG_ENCODING_TYPE_MASK 0xFFFF0000
#define GET_CERT_ENCODING_TYPE(x) ((x)&CERT_ENCODING_TYPE_MASK)
#define GET_CMSG_ENCODING_TYPE(x) ((x)&CMSG_ENCODING_TYPE_MASK)

typedef void* HCERTSTORE;
typedef ULONG_PTR HCRYPTPROV_LEGACY;
typedef ULONG_PTR HCRYPTPROV_OR_NCRYPT_KEY_HANDLE;
typedef ULONG_PTR NCRYPT_KEY_HANDLE;

typedef struct _CRYPT_BIT_BLOB {
    DWORD cbData;
    BYTE* pbData;
    DWORD cUnusedBits;
} CRYPT_BIT_BLOB, *PCRYPT_BIT_BLOB;

typedef struct _CRYPT_ALGORITHM_IDENTIFIER {
    LPSTR pszObjId;
    CRYPT_OBJID_BLOB Parameters;
} CRYPT_ALGORITHM_IDENTIFIER, *PCRYPT_ALGORITHM_IDENTIFIER;

typedef struct _CERT_PUBLIC_KEY_INFO {
    CRYPT_ALGORITHM_IDENTIFIER Algorithm;
    CRYPT_BIT_BLOB PublicKey;
} CERT_PUBLIC_KEY_INFO, *PCERT_PUBLIC_KEY_INFO;

typedef struct _CERT_EXTENSION {
    LPSTR pszObjId;
    BOOL fCritical;
    CRYPT_OBJID_BLOB Value;
} CERT_EXTENSION, *PCERT_EXTENSION;

#define CERT_V1 0
#define CERT_V2 1
#define CERT_V3 2

/* What is inside a certificate. The serial number is a whole number, least significant byte first;
 * names, parameters and extension values are their encoded bytes. */
typedef struct _CERT_INFO {
    DWORD dwVersion;
    CRYPT_INTEGER_BLOB SerialNumber;
    CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
    CERT_NAME_BLOB Issuer;
    FILETIME NotBefore;
    FILETIME NotAfter;
    CERT_NAME_BLOB Subject;
    CERT_PUBLIC_KEY_INFO SubjectPublicKeyInfo;
    CRYPT_BIT_BLOB IssuerUniqueId;
    CRYPT_BIT_BLOB SubjectUniqueId;
    DWORD cExtension;
    PCERT_EXTENSION rgExtension;
} CERT_INFO, *PCERT_INFO;

/* `hCertStore` is the store that the context is an element of, null for one of no store. */
typedef struct _CERT_CONTEXT {
    DWORD dwCertEncodingType;
    BYTE* pbCertEncoded;
    DWORD cbCertEncoded;
    PCERT_INFO pCertInfo;
    HCERTSTORE hCertStore;
} CERT_CONTEXT, *PCERT_CONTEXT;
typedef const CERT_CONTEXT* PCCERT_CONTEXT;

/* Properties. */
#define CERT_KEY_PROV_HANDLE_PROP_ID 1
#define CERT_KEY_PROV_INFO_PROP_ID 2
#define CERT_SHA1_HASH_PROP_ID 3
#define CERT_HASH_PROP_ID CERT_SHA1_HASH_PROP_ID
#define CERT_MD5_HASH_PROP_ID 4
#define CERT_KEY_CONTEXT_PROP_ID 5
#define CERT_KEY_SPEC_PROP_ID 6
#define CERT_ENHKEY_USAGE_PROP_ID 9
#define CERT_CTL_USAGE_PROP_ID CERT_ENHKEY_USAGE_PROP_ID
#define CERT_FRIENDLY_NAME_PROP_ID 11
#define CERT_DESCRIPTION_PROP_ID 13
#define CERT_ACCESS_STATE_PROP_ID 14
#define CERT_ARCHIVED_PROP_ID 19
#define CERT_KEY_IDENTIFIER_PROP_ID 20
#define CERT_AUTO_ENROLL_PROP_ID 21
#define CERT_DATE_STAMP_PROP_ID 27
#define CERT_CERT_PROP_ID 32
#define CERT_SHA256_HASH_PROP_ID 107
#define CERT_FIRST_USER_PROP_ID 0x00008000
#define CERT_LAST_USER_PROP_ID 0x0000FFFF

#define CERT_ACCESS_STATE_WRITE_PERSIST_FLAG 0x1
#define CERT_ACCESS_STATE_SYSTEM_STORE_FLAG 0x2

#define CERT_SET_PROPERTY_IGNORE_PERSIST_ERROR_FLAG 0x80000000
#define CERT_SET_PROPERTY_INHIBIT_PERSIST_FLAG 0x40000000
#define CERT_STORE_NO_CRYPT_RELEASE_FLAG 0x00000001

typedef struct _CRYPT_KEY_PROV_PARAM {
    DWORD dwParam;
    BYTE* pbData;
    DWORD cbData;
    DWORD dwFlags;
} CRYPT_KEY_PROV_PARAM, *PCRYPT_KEY_PROV_PARAM;

/* Where a certificate's private key lives. `rgProvParam` is set on the provider when the key is
 * acquired; a PIN among them (PP_SIGNATURE_PIN, PP_KEYEXCHANGE_PIN) is never written to a file. */
typedef struct _CRYPT_KEY_PROV_INFO {
    LPWSTR pwszContainerName;
    LPWSTR pwszProvName;
    DWORD dwProvType;
    DWORD dwFlags;
    DWORD cProvParam;
    PCRYPT_KEY_PROV_PARAM rgProvParam;
    DWORD dwKeySpec;
} CRYPT_KEY_PROV_INFO, *PCRYPT_KEY_PROV_INFO;

/* Of CRYPT_KEY_PROV_INFO's `dwFlags`: that an acquired key is to be kept with the context. */
#define CERT_SET_KEY_PROV_HANDLE_PROP_ID 0x00000001
#define CERT_SET_KEY_CONTEXT_PROP_ID 0x00000001

typedef struct _CERT_KEY_CONTEXT {
    DWORD cbSize;
    HCRYPTPROV hCryptProv;
    DWORD dwKeySpec;
} CERT_KEY_CONTEXT, *PCERT_KEY_CONTEXT;

/* Kinds of name. */
#define CERT_NAME_EMAIL_TYPE 1
#define CERT_NAME_RDN_TYPE 2
#define CERT_NAME_ATTR_TYPE 3
#define CERT_NAME_SIMPLE_DISPLAY_TYPE 4
#define CERT_NAME_FRIENDLY_DISPLAY_TYPE 5
#define CERT_NAME_ISSUER_FLAG 0x1

#define CERT_SIMPLE_NAME_STR 1
#define CERT_OID_NAME_STR 2
#define CERT_X500_NAME_STR 3
#define CERT_NAME_STR_REVERSE_FLAG 0x02000000

/* Of CryptAcquireCertificatePrivateKey. */
#define CRYPT_ACQUIRE_CACHE_FLAG 0x00000001
#define CRYPT_ACQUIRE_USE_PROV_INFO_FLAG 0x00000002
#define CRYPT_ACQUIRE_COMPARE_KEY_FLAG 0x00000004
#define CRYPT_ACQUIRE_NO_HEALING 0x00000008
#define CRYPT_ACQUIRE_SILENT_FLAG 0x00000040

VLXCAPI_BEGIN

/* A context of a copy of the encoded certificate, freed with CertFreeCertificateContext. Null with
 * E_INVALIDARG for null bytes or another encoding than X509_ASN_ENCODING (PKCS_7_ASN_ENCODING may
 * stand beside it); CRYPT_E_ASN1_CORRUPT for bytes that are not exactly one DER certificate;
 * ERROR_NOT_ENOUGH_MEMORY. */
VLXCAPI PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD dwCertEncodingType,
                                                           const BYTE* pbCertEncoded,
                                                           DWORD cbCertEncoded);

/* One reference more to the same context, which is answered; null for null. */
VLXCAPI PCCERT_CONTEXT WINAPI CertDuplicateCertificateContext(PCCERT_CONTEXT pCertContext);

/* One reference less. TRUE always; the last error is left alone. */
VLXCAPI BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT pCertContext);

/* Whether issuer and serial number are the same; the encoding is not looked at. Null: FALSE. */
VLXCAPI BOOL WINAPI CertCompareCertificate(DWORD dwCertEncodingType, PCERT_INFO pCertId1,
                                           PCERT_INFO pCertId2);

/* Whether two encoded names are the same bytes. Null: FALSE. */
VLXCAPI BOOL WINAPI CertCompareCertificateName(DWORD dwCertEncodingType, PCERT_NAME_BLOB pCertName1,
                                               PCERT_NAME_BLOB pCertName2);

/* A property. `*pcbData` is the room in bytes and becomes the size, which alone is wanted where
 * `pvData` is null. CERT_KEY_PROV_INFO_PROP_ID comes as one block that its inner pointers point
 * into; CERT_KEY_CONTEXT_PROP_ID and CERT_KEY_PROV_HANDLE_PROP_ID as kept, still the context's.
 * Hashes and CERT_KEY_IDENTIFIER_PROP_ID are computed. CRYPT_E_NOT_FOUND; ERROR_MORE_DATA;
 * E_INVALIDARG. */
VLXCAPI BOOL WINAPI CertGetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId,
                                                      void* pvData, DWORD* pcbData);

/* Copies a property in, or removes it where `pvData` is null: a CRYPT_KEY_PROV_INFO, a
 * CERT_KEY_CONTEXT, an HCRYPTPROV in the pointer's place, or a CRYPT_DATA_BLOB. In a system store
 * it is written to the certificate's file. A provider handle is released with the context, or when
 * replaced, unless CERT_STORE_NO_CRYPT_RELEASE_FLAG is given. E_INVALIDARG for a computed property,
 * flags not named above or a broken record; the words of a failed write, after which the property
 * is as it was unless CERT_SET_PROPERTY_IGNORE_PERSIST_ERROR_FLAG is given. */
VLXCAPI BOOL WINAPI CertSetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId,
                                                      DWORD dwFlags, const void* pvData);

/* The number of the kept property after `dwPropId` (0: the first); 0 past the last. Computed ones
 * are not told. */
VLXCAPI DWORD WINAPI CertEnumCertificateContextProperties(PCCERT_CONTEXT pCertContext,
                                                          DWORD dwPropId);

/* The hash of encoded bytes; an algorithm of 0 means SHA-1. Without a provider SHA-1, SHA-2 and MD5
 * are computed here, others by the default provider. Room and size as above. ERROR_MORE_DATA,
 * E_INVALIDARG, or the provider's words. */
VLXCAPI BOOL WINAPI CryptHashCertificate(HCRYPTPROV_LEGACY hCryptProv, ALG_ID Algid, DWORD dwFlags,
                                         const BYTE* pbEncoded, DWORD cbEncoded,
                                         BYTE* pbComputedHash, DWORD* pcbComputedHash);

/* A name of the subject, or with CERT_NAME_ISSUER_FLAG of the issuer, cut to `cchNameString`
 * characters with the terminator; the answer is the length with the terminator, needed where there
 * is no buffer. At least 1, for an empty text. CERT_NAME_ATTR_TYPE takes an identifier's text by
 * `pvTypePara`, CERT_NAME_RDN_TYPE a pointer to the DWORD of CertNameToStrA. */
VLXCAPI DWORD WINAPI CertGetNameStringA(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags,
                                        void* pvTypePara, LPSTR pszNameString, DWORD cchNameString);
VLXCAPI DWORD WINAPI CertGetNameStringW(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags,
                                        void* pvTypePara, LPWSTR pszNameString,
                                        DWORD cchNameString);

/* An encoded name as text, in the order of its encoding or, with CERT_NAME_STR_REVERSE_FLAG, the
 * other way: values alone, "1.2.3=value" or "CN=value". Lengths as above. */
VLXCAPI DWORD WINAPI CertNameToStrA(DWORD dwCertEncodingType, PCERT_NAME_BLOB pName,
                                    DWORD dwStrType, LPSTR psz, DWORD csz);
VLXCAPI DWORD WINAPI CertNameToStrW(DWORD dwCertEncodingType, PCERT_NAME_BLOB pName,
                                    DWORD dwStrType, LPWSTR psz, DWORD csz);

/* A context of the provider that holds the certificate's private key, as CERT_KEY_PROV_INFO_PROP_ID
 * names it, with the record's parameters set. `*pfCallerFree` tells whether the caller releases it:
 * FALSE where the key context is kept with the certificate's, which CRYPT_ACQUIRE_CACHE_FLAG asks
 * for, as does CRYPT_ACQUIRE_USE_PROV_INFO_FLAG where the record has CERT_SET_KEY_CONTEXT_PROP_ID;
 * one kept before is then answered again. Key specification and flag may be null; without a flag a
 * handle that the caller ought to release is refused. CRYPT_E_NO_KEY_PROPERTY where no key is
 * named; with CRYPT_ACQUIRE_COMPARE_KEY_FLAG NTE_BAD_PUBLIC_KEY for a newly acquired key that is
 * not the certificate's; E_INVALIDARG for other flags; ERROR_NO_UNICODE_TRANSLATION for a name that
 * the ANSI code page cannot hold; else the provider's words. */
VLXCAPI BOOL WINAPI
CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT pCert, DWORD dwFlags, void* pvParameters,
                                  HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* phCryptProvOrNCryptKey,
                                  DWORD* pdwKeySpec, BOOL* pfCallerFreeProvOrNCryptKey);

/* Whether the bytes are one PKCS #12 document, as far as its outermost structure tells. */
VLXCAPI BOOL WINAPI PFXIsPFXBlob(CRYPT_DATA_BLOB* pPFX);

VLXCAPI_END
