// The bag of one private key.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/blob.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

// Writes a shrouded key bag into `bag`, which is cleared first. Its attributes are the localKeyId,
// unless `keyIndex` is 0; and, where `flags` has bit 0x10 and there is a record, the provider's
// name, if the record has one, and the friendly name (ANSI), also if that is empty. The cipher is
// always GOST 28147-89: the key algorithm counts for nothing, nor does the thumbprint.
// Answers nonzero with last error 0; or 0 with `bag` empty and the last error
//   NTE_BAD_ALGID          a hash other than the three of GOST R 34.11, or no OID for the cipher
//   CRYPT_E_ASN1_CORRUPT   whatever std::exception the building raised
int BuildKeySafeBag(IBlob* bag, std::uint32_t keyIndex, const Blob& wrappedKey, const Blob& salt,
                    const Blob& initialVector, const CRYPT_KEY_PROV_INFO* info,
                    const std::string& friendlyName, ALG_ID keyAlgorithm, ALG_ID hashAlgorithm,
                    DWORD flags, const Blob& thumbprint, std::uint32_t iterations);

}  // namespace pkisdk
