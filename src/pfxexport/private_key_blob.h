// A private key as the provider gives it out, encrypted.
#pragma once

#include <cstdint>

#include "foundation/blob.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

// Has the provider encrypt `privateKey` under `sessionKey` and puts what stands behind the 8 bytes
// of the BLOBHEADER into `wrappedKey`. With `isSizeOnly` nonzero that is zeros, as many as there
// would be bytes. The flags are accepted and not read. No handle is destroyed here.
// Answers nonzero with last error 0; or 0 with `wrappedKey` as it was and the last error
//   XENROLL_E_KEY_NOT_EXPORTABLE (0x80095000)   the key's permissions forbid it
//   NTE_BAD_DATA                                the blob is shorter than 9 bytes
//   NTE_BAD_KEY_STATE                           it is no private key blob of the expected version
// else the provider's.
int ExportPrivateKeyBlob(HCRYPTPROV provider, HCRYPTKEY privateKey, HCRYPTKEY sessionKey,
                         DWORD flags, std::int32_t isSizeOnly, IBlob* wrappedKey);

}  // namespace pkisdk
