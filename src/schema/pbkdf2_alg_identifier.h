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
    PBKDF2AlgIdentifier();

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override;
    // Empties what a read fills.
    void Clear();

    ObjectId oid;
    PBKDF2AdditionalInfo additionalInfo;
};

}  // namespace pkisdk::asn
