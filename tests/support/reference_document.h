// A document written out level by level, over primitives of libgcrypt alone, to compare an exported
// one with.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/reference_crypto.h"

namespace test_support {

// GOST 28147-89 in CFB with the key meshing of RFC 4357, under this set of S-boxes.
Bytes ReferenceEncrypt(const std::string& parameterSet, const Bytes& key, const Bytes& vector,
                       Bytes text);

struct ReferenceKey {
    // The number in its localKeyId.
    std::uint32_t index = 1;
    // Of the key's family: 0x801E or 0x8022.
    ALG_ID hash = 0x8022;
    Bytes wrapped;
    // Left out of the bag where they are not there.
    std::optional<std::string> providerName;
    std::optional<std::string> friendlyName;
};

struct ReferenceCertificate {
    Bytes encoded;
    bool namesKey = false;
};

struct ReferenceDocument {
    std::vector<ReferenceKey> keys;
    std::vector<ReferenceCertificate> certificates;
    // Of certificates and MAC.
    ALG_ID hash = 0x8022;
    std::string password;
    Bytes keySalt;
    Bytes certificateSalt;
    Bytes macSalt;

    Bytes SafeContents() const;
    Bytes Build() const;

  private:
    Bytes KeyBag(const ReferenceKey& key) const;
    Bytes EncryptedContentInfo() const;
    Bytes MacData(const Bytes& authenticatedSafe) const;
};

}  // namespace test_support
