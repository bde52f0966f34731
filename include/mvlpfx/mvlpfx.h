/* The functions that the module exports, for callers in C and C++.
 *
 * A document is a PFX (PKCS#12) whose private keys are GOST keys. Passwords are NUL-terminated wide
 * text; null is the same as empty. A password counts 1 to 32 bytes, both in the process's ANSI code
 * page and in UTF-8. Every function works on the caller's thread and leaves the reason of a failure
 * in that thread's last error. Where there is no memory UzCreatePFX, UzVerifyPswPFX and the
 * restores may also end with the C++ exception std::bad_alloc. */
#ifndef MVLPFX_MVLPFX_H
#define MVLPFX_MVLPFX_H

#ifdef _WIN32
#include <windows.h>
/* wincrypt.h needs windows.h before it. */
#include <wincrypt.h>
#else
#include <capi/capi.h>
#endif

#if defined(__GNUC__) && !defined(_WIN32)
#define MVLPFX_EXPORT __attribute__((visibility("default")))
#else
#define MVLPFX_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A document in the caller's memory, in the layout of CRYPT_DATA_BLOB. */
typedef struct PfxBlob {
    DWORD cbData; /* bytes */
    BYTE* pbData; /* owned by the caller, and not needed after the call */
} PfxBlob;

/* Writes the store's certificates, and the private keys that they name, into a document under the
 * password. The private keys must be exportable GOST keys; one that can't be reached is left out
 * without an error, and its certificate stays. Of the flags bit 0x10 counts: it writes the names of
 * provider and container beside each key. The store stays as it is, and so do the keys.
 *
 * With `pfx->pbData` null `pfx->cbData` takes the document's size. Otherwise `pfx->cbData` is the
 * room at `pfx->pbData` in bytes, which receives the document, and takes its true size. Both calls
 * do the whole work, and no two documents are the same, but for their size.
 *
 * Answers 1 with last error 0; or 0 with the last error
 *   ERROR_MORE_DATA                the room is too small: nothing is copied, `pfx->cbData` takes
 *                                  the size
 *   NTE_INVALID_PARAMETER          no store, or one without certificates
 *   ERROR_INVALID_PASSWORD         the password is empty, or longer than 32 bytes
 *   NTE_BAD_KEY, NTE_BAD_ALGID     a key's algorithm can't be read, or is no GOST R 34.10
 *   XENROLL_E_KEY_NOT_EXPORTABLE   (0x80095000) a key must not leave its container
 *   NTE_BAD_DATA                   a certificate is not DER, or an exported key too short, or what
 *                                  was written would not be read again as it is
 *   NTE_BAD_KEY_STATE              an exported key is not what a provider of this kind gives
 *   CRYPT_E_ASN1_CORRUPT           a bag could not be built, also for want of memory
 *   ERROR_NOT_ENOUGH_MEMORY        there is no memory
 *   NTE_NO_MEMORY                  the provider has none
 * or the provider's own, and then `pfx->cbData` is as it was. Where the provider fails and leaves
 * no reason the answer is 1, and there is no document: `pfx->cbData` is as it was. The record is
 * not checked: a null `pfx` is a defect of the caller. */
MVLPFX_EXPORT BOOL UzCreatePFX(HCERTSTORE store, PfxBlob* pfx, LPCWSTR password, DWORD flags);

/* Restores the document's certificates into a new memory store and its private keys into new
 * containers of the provider, each certificate tied to its key. Flags, of which others are not
 * looked at: CRYPT_EXPORTABLE lets the keys leave their containers again, CRYPT_MACHINE_KEYSET
 * takes the machine's containers in place of the user's. Answers the store, which the caller
 * closes, with last error 0; or null with
 *   NTE_KEYSET_ENTRY_BAD      the password is wrong
 *   ERROR_INVALID_PASSWORD    it is empty, or longer than 32 bytes
 *   NTE_BAD_DATA              the document is no PFX in DER, or lacks a part that it must have
 *   NTE_BAD_ALGID             it is encrypted, in GOST's shape, with algorithms that the provider
 *                             does not have; any other shape is CRYPT_E_ASN1_CORRUPT
 *   CRYPT_E_ASN1_CORRUPT      an encrypted content or the bag of a key is malformed, or can't be
 *                             read for want of memory
 *   ERROR_NOT_ENOUGH_MEMORY   there is no memory, such as for a copy of the password
 *   NTE_NO_MEMORY             the provider has none
 * or the provider's own. Containers that were made before a failure stay. The record is not
 * checked: a null `pfx` is a defect of the caller. */
MVLPFX_EXPORT HCERTSTORE UzRestorePFX(const PfxBlob* pfx, LPCWSTR password, DWORD flags);

/* The same, and then files the certificates in the system stores of the user or, with
 * CRYPT_MACHINE_KEYSET, the machine: those with a key in "MY", the issuers above them, as far as
 * they are in the document, in "CA", and the last of them in "ROOT". The store is answered whether
 * or not that works; the last error is then NTE_FAIL where a system store could not be opened, else
 * 0. */
MVLPFX_EXPORT HCERTSTORE UzRestorePFXToSystemStorage(const PfxBlob* pfx, LPCWSTR password,
                                                     DWORD flags);

/* Tells whether the password fits the document: 1 if it does, else 0 with the last error
 *   NTE_KEYSET_ENTRY_BAD      the password is wrong
 *   ERROR_INVALID_PASSWORD    it is empty, or longer than 32 bytes
 *   NTE_BAD_DATA              the document is no PFX, or has no integrity value
 *   ERROR_NOT_ENOUGH_MEMORY   there is no memory
 *   NTE_NO_MEMORY             the provider has none
 * or the provider's own. A digest algorithm that the platform does not know is whatever its lookup
 * leaves in the last error; if that is 0, the answer is 1. The document may be DER, PEM or base64.
 * The record is not checked: a null `pfx` is a defect of the caller. */
MVLPFX_EXPORT BOOL UzVerifyPswPFX(const PfxBlob* pfx, LPCWSTR password);

/* Sets the process-wide word that later restores read at their start; it replaces the whole word.
 *   bit 0   a restored key's container is opened silently, and the password becomes its PIN
 * The other bits are kept and have no meaning. */
MVLPFX_EXPORT void UzSetImportPfxControlFlags(DWORD flags);

/* Enters three of the functions in CryptoAPI's table of OID functions, for callers who know the set
 * and the identifier "1.2.643.2.4.12.2.1" instead of this library:
 *   "CryptVLXExportPFX"      UzCreatePFX
 *   "CryptVLXRestorePFX"     UzRestorePFX
 *   "CryptVLXVerifyPswPFX"   UzVerifyPswPFX
 * each with the path of the loaded mvlpfx64.dll (libmvlpfx64.so). Answers 0; or what made the first
 * entry fail, as an HRESULT, and then entries made before it stay. A failure for which the platform
 * leaves no reason is answered by 0 too. */
MVLPFX_EXPORT HRESULT WINAPI DllRegisterServer(void);

/* Asks the table to remove what stands under the names of the functions in the place of the sets.
 * Those are not the entries of DllRegisterServer, which stay. Always answers 0. */
MVLPFX_EXPORT HRESULT WINAPI DllUnregisterServer(void);

#ifdef __cplusplus
}
#endif

#endif
