// The key derivation.
//
//   AlgorithmIdentifier ::= SEQUENCE {
//       algorithm    OBJECT IDENTIFIER,
//       parameters   PBKDF2-params }
#pragma once

#include <string>

#include "asn/i_asn_serializable.h"
#include "foundation/object_id.h"
#include "schema/pbkdf2_additional_info.h"

namespace pkisdk::asn {

class PBKDF2AlgIdentifier : public IAsnSerializable {
  public:
    // PBKDF2, 1.2.840.113549.1.5.12, with the default parameters.
    PBKDF2AlgIdentifier();

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override;
    // Empties what a read fills, but for the `Hparams` of the key derivation.
    void Clear();

    // The algorithm.
    ObjectId oid;
    PBKDF2AdditionalInfo additionalInfo;
};

}  // namespace pkisdk::asn
