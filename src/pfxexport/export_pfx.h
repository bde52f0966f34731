// From a certificate store to a document.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/cryptoapi.h"

namespace pkisdk {

// Writes the store's certificates, and the private keys that they name and that can be reached,
// into one document under `password` (ANSI code page, NUL-terminated). A key that can't be reached
// is left out; its certificate stays. Of `flags` bit 0x10 alone counts: it puts the names of
// provider and container beside each key. `isSizeOnly` nonzero gives a document of the right length
// and no use, without having the provider write out keys. The ignored arguments are 0. A document
// whose random octets a reader would take for elements is made again, with other salts, at most
// eight times in all.
// Answers nonzero with last error 0; or 0 with `document` as it was and the last error
//   NTE_INVALID_PARAMETER          no store, or one without certificates
//   NTE_BAD_KEY                    a key's algorithm can't be read
//   NTE_BAD_ALGID                  it is no key of GOST R 34.10
//   XENROLL_E_KEY_NOT_EXPORTABLE   a key must not leave its container
//   NTE_BAD_DATA                   a certificate is not DER, or the provider's key blob too short,
//   or
//                                  a reader would not find again what was written
//   NTE_BAD_KEY_STATE              the provider's key blob is of another kind
//   ERROR_INVALID_PASSWORD         the password is empty, or of more than 32 bytes
//   CRYPT_E_ASN1_CORRUPT           building a bag raised an exception
// or the provider's. Exceptions of memory and of the list's size leave this function.
int ExportPfxFromStore(const char* password, const void* ignored1, const void* ignored2,
                       HCERTSTORE store, DWORD flags, std::int32_t isSizeOnly,
                       std::vector<std::uint8_t>* document);

}  // namespace pkisdk
