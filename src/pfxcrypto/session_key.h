// The key under which one object of a document is encrypted.
#pragma once

#include <cstdint>

#include "foundation/blob.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

// Derives 40 bytes from `password` (ANSI code page, NUL-terminated) and makes of them a session key
// of `keyAlgorithm`: 32 bytes of value, 8 of initial vector. An empty `salt` asks for a fresh one
// of 32 bytes from the provider; on success `salt` holds the one that was used, `*key` is the
// caller's to destroy, and the last error is 0.
// Answers nonzero, or 0 with `*key` and `salt` as they were and the last error
// ERROR_INVALID_PASSWORD for a password that is missing, empty or of more than 32 bytes in either
// encoding, else the provider's. A key made before the failure stays with the provider's context.
int DerivePfxSessionKey(const char* password, HCRYPTPROV provider, ALG_ID keyAlgorithm,
                        ALG_ID hashAlgorithm, std::uint32_t iterations, HCRYPTKEY* key, Blob* salt);

}  // namespace pkisdk
