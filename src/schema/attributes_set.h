// One attribute of a bag.
//
//   Attribute ::= SEQUENCE {
//       attrType     OBJECT IDENTIFIER,
//       attrValues   SET OF ANY }
#pragma once

#include <list>
#include <string>

#include "asn/i_asn_serializable.h"
#include "foundation/blob.h"
#include "foundation/object_id.h"

namespace pkisdk::asn {

class AttributesSet : public IAsnSerializable {
  public:
    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override;
    // Empties what a read fills.
    void Clear();

    // The type of the attribute; empty until it is set.
    ObjectId oid;
    // Each one value with its header.
    std::list<Blob> values;
};

}  // namespace pkisdk::asn
