/* Making certificates: names from text, and certificates that a key signs for itself. */
#pragma once

#include "capi/certificates.h"
#include "capi/clock.h"

#define CRYPT_E_INVALID_X500_STRING VLXCAPI_HRESULT(0x80092023)

/* Of CertStrToName: what parts one attribute from the next. Without any: commas, semicolons. */
#define CERT_NAME_STR_SEMICOLON_FLAG 0x40000000
#define CERT_NAME_STR_CRLF_FLAG 0x08000000
#define CERT_NAME_STR_COMMA_FLAG 0x04000000
#define CERT_NAME_STR_NO_PLUS_FLAG 0x20000000
#define CERT_NAME_STR_NO_QUOTING_FLAG 0x10000000

/* Of CertCreateSelfSignCertificate. */
#define CERT_CREATE_SELFSIGN_NO_SIGN 1
#define CERT_CREATE_SELFSIGN_NO_KEY_INFO 2

typedef struct _CERT_EXTENSIONS {
    DWORD cExtension;
    PCERT_EXTENSION rgExtension;
} CERT_EXTENSIONS, *PCERT_EXTENSIONS;

VLXCAPI_BEGIN

/* The encoded name of a text as CertNameToStr writes it: "CN=value, O=value", identifiers as
 * "1.2.3=value" or "OID.1.2.3=value", values in quotation marks where they hold what would end
 * them, a mark inside written twice, attributes of one set joined by a plus sign. In the text's
 * order, or with CERT_NAME_STR_REVERSE_FLAG the other way. `*pcbEncoded` is the room and becomes
 * the size, which alone is wanted where `pbEncoded` is null. Where the text is no name:
 * CRYPT_E_INVALID_X500_STRING, and `*ppszError`, if there is one, points at the place; else it
 * becomes null. ERROR_MORE_DATA. */
VLXCAPI BOOL WINAPI CertStrToNameA(DWORD dwCertEncodingType, LPCSTR pszX500, DWORD dwStrType,
                                   void* pvReserved, BYTE* pbEncoded, DWORD* pcbEncoded,
                                   LPCSTR* ppszError);
VLXCAPI BOOL WINAPI CertStrToNameW(DWORD dwCertEncodingType, LPCWSTR pszX500, DWORD dwStrType,
                                   void* pvReserved, BYTE* pbEncoded, DWORD* pcbEncoded,
                                   LPCWSTR* ppszError);

/* A certificate of the public half of a container's key, signed by that key: a context that is
 * freed with CertFreeCertificateContext. `hCryptProv` is a context with the key, AT_SIGNATURE
 * unless `pKeyProvInfo` says AT_KEYEXCHANGE; its PUBLICKEYBLOB holds a SubjectPublicKeyInfo behind
 * the header. The signature's algorithm is the one that belongs to the key, and so is that of
 * `pSignatureAlgorithm` if given: NTE_BAD_ALGID. Valid from `pStartTime`, or now, to `pEndTime`, or
 * a year after that. The serial number is random. The context is tied to the key by
 * CERT_KEY_PROV_INFO_PROP_ID, as `pKeyProvInfo` says or as the provider names its container, unless
 * CERT_CREATE_SELFSIGN_NO_KEY_INFO. E_INVALIDARG for no provider, no subject, other flags, a time
 * that is none; the provider's words. */
VLXCAPI PCCERT_CONTEXT WINAPI CertCreateSelfSignCertificate(
    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE hCryptProv, PCERT_NAME_BLOB pSubjectIssuerBlob, DWORD dwFlags,
    PCRYPT_KEY_PROV_INFO pKeyProvInfo, PCRYPT_ALGORITHM_IDENTIFIER pSignatureAlgorithm,
    PSYSTEMTIME pStartTime, PSYSTEMTIME pEndTime, PCERT_EXTENSIONS pExtensions);

VLXCAPI_END
