// Encryption under a password: how the key is derived, and what it encrypts with.
//
//   AlgorithmIdentifier ::= SEQUENCE {
//       algorithm    OBJECT IDENTIFIER,
//       parameters   SEQUENCE {
//           keyDerivationFunc   AlgorithmIdentifier,
//           encryptionScheme    AlgorithmIdentifier } }
#pragma once

#include <string>

#include "asn/i_asn_serializable.h"
#include "foundation/object_id.h"
#include "schema/encr_alg_identifier.h"
#include "schema/pbkdf2_alg_identifier.h"

namespace pkisdk::asn {

class PBES2AlgIdentifier : public IAsnSerializable {
  public:
    // PBES2, 1.2.840.113549.1.5.13, over the default key derivation and encryption scheme.
    PBES2AlgIdentifier();

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override;
    // Empties what a read fills, but for the `Hparams` of the key derivation.
    void Clear();

    // The algorithm.
    ObjectId oid;
    PBKDF2AlgIdentifier KezDeriv;
    EncrAlgIdentifier EncrScheme;
};

}  // namespace pkisdk::asn
