// The tail of a document: its integrity value.
#pragma once

#include <cstdint>

#include "derlist/der_list.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

// Appends MacData, DigestInfo and the digest's algorithm, without parameters, to a document.
// Answers nonzero with last error 0, or 0 with NTE_BAD_ALGID where the platform has no OID for the
// hash.
int AddMacDataHeader(ALG_ID hashAlgorithm, DerList* list);

// Completes a document, whose node 6 is what the MAC covers: appends that header, the value, its
// salt of 32 bytes from the C runtime's generator and, unless it is 1, the count as exactly two
// bytes, its low 16 bits. 0 iterations are 2000. The key algorithm is only passed on. A salt that
// reads as elements, or whose value does, is drawn again.
// Answers nonzero with last error 0; or 0, the list half built, with the last error NTE_BAD_DATA
// for a null list or provider or after eight such salts, NTE_BAD_ALGID as above, ComputePfxMac's or
// the provider's.
int AddPfxMacData(const char* password, HCRYPTPROV provider, ALG_ID hashAlgorithm,
                  ALG_ID keyAlgorithm, std::uint32_t iterations, DerList* list);

}  // namespace pkisdk
