// Derivations and MACs by libgcrypt alone, to compare the module's with.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/cryptoapi.h"

namespace test_support {

using Bytes = std::vector<std::uint8_t>;

// PBKDF2 with HMAC over the hash that the provider calls `hashAlgorithm`.
Bytes ReferencePbkdf2(ALG_ID hashAlgorithm, const std::string& password, const Bytes& salt,
                      unsigned iterations, std::size_t length);

Bytes ReferenceHmac(ALG_ID hashAlgorithm, const Bytes& key, const Bytes& data);

// The integrity value: the key is the last 32 of 96 derived bytes.
Bytes ReferencePfxMac(ALG_ID hashAlgorithm, const std::string& password, const Bytes& salt,
                      unsigned iterations, const Bytes& data);

// GOST 28147-89 in CFB with the key meshing of RFC 4357, S-boxes by their parameter set.
Bytes ReferenceEncrypt(const Bytes& key, const Bytes& vector, const std::string& parameterSet,
                       Bytes data);

// "00 ff" or "00ff" to bytes.
Bytes FromHex(const std::string& text);

}  // namespace test_support
