// The integrity value of a document.
#pragma once

#include <cstdint>

#include "derlist/der_list.h"
#include "foundation/blob.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

// Computes the MAC over the flattened bytes of `covered`, whose root stands at index 0. The HMAC's
// key is the last 32 of 96 bytes that PBKDF2 derives from `password` (ANSI code page) and the salt.
// `saltAndResult` holds the salt on entry and, on success, the value, as long as the hash's. The
// key algorithm is accepted for symmetry and not looked at: it is always GOST 28147-89.
// Answers nonzero with last error 0; or 0, the salt kept, with last error NTE_BAD_DATA for a
// missing blob or an empty list, ERROR_INVALID_PASSWORD for a password that is empty or of more
// than 32 bytes in UTF-8, else the provider's.
int ComputePfxMac(DerList covered, const char* password, HCRYPTPROV provider, ALG_ID hashAlgorithm,
                  ALG_ID keyAlgorithm, std::uint32_t iterations, IBlob* saltAndResult);

}  // namespace pkisdk
