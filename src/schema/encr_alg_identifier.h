// The encryption scheme.
//
//   AlgorithmIdentifier ::= SEQUENCE {
//       algorithm    OBJECT IDENTIFIER,
//       parameters   Gost28147-89-Parameters }
#pragma once

#include <string>

#include "asn/i_asn_serializable.h"
#include "foundation/object_id.h"
#include "schema/encr_additional_info.h"

namespace pkisdk::asn {

class EncrAlgIdentifier : public IAsnSerializable {
  public:
    // GOST 28147-89, 1.2.643.2.2.21, with the default parameters.
    EncrAlgIdentifier();

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override;
    // Empties what a read fills.
    void Clear();

    // The algorithm.
    ObjectId oid;
    EncrAdditionalInfo additionalInfo;
};

}  // namespace pkisdk::asn
