// A private key that is encrypted under a password.
//
//   EncryptedPrivateKeyInfo ::= SEQUENCE {
//       encryptionAlgorithm   AlgorithmIdentifier,
//       encryptedData         OCTET STRING }
#pragma once

#include <string>

#include "asn/i_asn_serializable.h"
#include "foundation/blob.h"
#include "schema/pbes2_alg_identifier.h"

class PfxKeyInfo : public pkisdk::asn::IAsnSerializable {
  public:
    bool DeserializeFromAsnObject(const pkisdk::asn::AsnObjectHandle& object,
                                  const std::string& context) override;
    pkisdk::asn::AsnNodeHandle SerializeToAsnNode(
        const pkisdk::asn::AsnNodeContainerHandle& parent) const override;
    // Empties what a read fills, but for the `Hparams` of the key derivation.
    void Clear();

    pkisdk::asn::PBES2AlgIdentifier PBES2Sheme;
    // The encrypted private key: what decryption makes a PrivateKeyInfo of.
    pkisdk::Blob encrKey;
};
