// PBKDF2 over provider handles: the module computes no HMAC of its own.
#pragma once

#include <cstdint>

#include "foundation/blob.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

// Derives `outputLength` bytes into `output`, which is resized once the provider has taken the
// password. `password` is hashed as it stands, up to 32 bytes; `iterations` 0 means 2000.
// `keyAlgorithm` is that of the key object which carries the password into the HMACs. Answers
// nonzero; or 0 with all that `output` holds zeroed and the last error as the provider left it,
// NTE_BAD_LEN for a hash that has no length. A null `provider` is NTE_INVALID_PARAMETER, with
// `output` untouched.
int PfxPbkdf2(HCRYPTPROV provider, ALG_ID hashAlgorithm, ALG_ID keyAlgorithm, const IBlob& password,
              const IBlob& salt, std::uint32_t iterations, std::uint32_t outputLength,
              IBlob* output);

}  // namespace pkisdk
