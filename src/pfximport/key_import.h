// The private keys of a document.
#pragma once

#include <cstdint>

#include "derlist/der_list.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

// Puts every shrouded key of `document` into a new container of the provider, which unwraps it
// under `password` (ANSI code page), and ties the certificate of `store` that belongs to it, as the
// decrypted `certificates` tell, to that container. Of `flags`, CRYPT_EXPORTABLE lets the keys
// leave again and CRYPT_MACHINE_KEYSET takes the machine's containers. With `isSilent` a container
// is created without windows and takes the password for its PIN. `providerName` is accepted and not
// read. Answers 1 with last error 0, also where a key belongs to no certificate; or 0 with
//   NTE_BAD_DATA           fewer than two contents of type data, or no store
//   NTE_BAD_ALGID          a cipher or a pseudo-random function is unknown
//   CRYPT_E_ASN1_CORRUPT   a bag is malformed, or an attribute of its key lacks its value
// or what the provider left. Nothing is undone: the containers made by then stay.
int AddPfxKeysToCSP(const char* password, const char* providerName, DerList document,
                    HCERTSTORE store, DerList certificates, std::uint32_t flags,
                    std::uint8_t isSilent);

}  // namespace pkisdk
