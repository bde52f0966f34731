// The parameters of GOST 28147-89 as an encryption scheme.
//
//   Gost28147-89-Parameters ::= SEQUENCE {
//       iv                   OCTET STRING,
//       encryptionParamSet   OBJECT IDENTIFIER }
#pragma once

#include <string>

#include "asn/i_asn_serializable.h"
#include "foundation/blob.h"
#include "foundation/object_id.h"

namespace pkisdk::asn {

class EncrAdditionalInfo : public IAsnSerializable {
  public:
    // The parameter set 1.2.643.2.2.31.1, without an initial vector.
    EncrAdditionalInfo();

    // NULL in place of the sequence is taken and leaves the fields cleared; it is never written.
    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override;
    // Empties what a read fills.
    void Clear();

    // The initial vector.
    Blob Synchr;
    // The cipher's parameter set.
    ObjectId EncrParams;
};

}  // namespace pkisdk::asn
