// A document becomes certificates in a store and keys in containers.
#pragma once

#include <cstdint>

#include "foundation/blob.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

// Verifies `password` (ANSI code page, NUL-terminated), then restores certificates and keys into a
// new memory store, which is the caller's to close, and new containers. `providerName` is accepted
// and not read; `flags` as for AddPfxKeysToCSP. Bit 0 of ImportControlFlags is sampled at the
// start. Answers the store with last error 0, or null with
//   NTE_BAD_DATA              no document, or bytes that are no PFX
//   ERROR_NOT_ENOUGH_MEMORY   no memory for the wide password
//   NTE_KEYSET_ENTRY_BAD      the password is wrong, as found twice
// or what the verification, the store, the certificates or the keys left. A step that fails and
// leaves 0 does not close the store, and it is answered. Containers that were made stay in any
// case.
HCERTSTORE RestorePfxToMemoryStore(const char* password, const IBlob* document,
                                   const char* providerName, std::uint32_t flags);

}  // namespace pkisdk
