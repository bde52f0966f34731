// How what a document encrypts is named in it.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/blob.h"
#include "platform/cryptoapi.h"
#include "schema/pbes2_alg_identifier.h"

namespace pkisdk {

// The identifiers, as dotted text, that go with a hash.
struct EncryptionOids {
    const char* prf;
    const char* cipherParameters;
};

// Null for a hash that documents are not written with.
const EncryptionOids* FindEncryptionOids(ALG_ID hashAlgorithm);

// What the platform calls GOST 28147-89. False when it has no name for it.
bool FindCipherOid(std::string* oid);

// What an encrypted object needs to be decrypted again, but for the password.
struct EncryptionParameters {
    const EncryptionOids& oids;
    const std::string& cipherOid;
    const Blob& salt;
    const Blob& initialVector;
    std::uint32_t iterations;
};

// Throws Exception for an identifier whose text is none.
void FillScheme(const EncryptionParameters& parameters, asn::PBES2AlgIdentifier* scheme);

}  // namespace pkisdk
