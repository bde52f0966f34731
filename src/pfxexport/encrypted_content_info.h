// The encrypted certificates as a part of the document.
#pragma once

#include <cstdint>

#include "derlist/der_list.h"
#include "foundation/blob.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

// Replaces what `list` holds by a ContentInfo of encrypted data, whose content is one leaf. The
// cipher is always GOST 28147-89, whatever `keyAlgorithm` says. Answers nonzero with last error 0;
// or 0 with the last error
//   NTE_BAD_ALGID          a hash other than the three of GOST R 34.11, or no OID for the cipher
//   NTE_BAD_DATA           no list
//   CRYPT_E_ASN1_CORRUPT   whatever std::exception building the content raised
int BuildEncryptedContentInfo(DerList* list, Blob cipherText, Blob salt, Blob initialVector,
                              ALG_ID keyAlgorithm, ALG_ID hashAlgorithm, std::uint32_t iterations);

}  // namespace pkisdk
