// How an encrypted part of a document is decrypted: the road from its algorithm identifier to a
// session key.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/blob.h"
#include "pfxcrypto/handle_guards.h"
#include "platform/cryptoapi.h"
#include "schema/pbes2_alg_identifier.h"

namespace pkisdk {

struct BagEncryption {
    ALG_ID cipher = 0;
    ALG_ID hash = 0;
    std::uint32_t iterations = 0;
    Blob salt;
    Blob vector;
    // Dotted; empty for the cipher's first set.
    std::string parameterSet;
};

// Fills `encryption`. Answers 0, or NTE_BAD_ALGID for a cipher that the platform does not know or a
// pseudo-random function that is none of the three GOST HMACs. Throws Exception for an identifier
// that has no text.
DWORD ReadBagEncryption(const asn::PBES2AlgIdentifier& scheme, BagEncryption* encryption);

// Derives the session key from `password` (ANSI code page) and sets the document's own vector and
// parameter set on it. False with the reason in the last error: what DerivePfxSessionKey or the
// provider leave, or NTE_BAD_DATA for a vector that is shorter than the cipher reads.
bool MakeBagKey(const char* password, HCRYPTPROV provider, const BagEncryption& encryption,
                ProviderKey* key);

}  // namespace pkisdk
