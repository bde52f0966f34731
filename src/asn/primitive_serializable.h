// A mandatory member of a fixed identifier.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "asn/asn_encoders.h"
#include "asn/i_asn_serializable.h"

namespace pkisdk::asn {

namespace readable {

// `Encoder` turns the value into a node; `Identifier` is a ConstAsnIdentifier. The member name is
// added to the context.
template <typename Encoder, typename Value, typename Identifier>
class PrimitiveSerializable : public IAsnSerializable {
  public:
    PrimitiveSerializable(const char* memberName, const Value* value)
        : memberName_(memberName), value_(value) {}

    bool DeserializeFromAsnObject(const AsnObjectHandle&, const std::string&) override {
        ThrowNotImplemented("[asn::readable::PrimitiveSerializable::Deserialize]");
    }
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override {
        return AttachTo(parent, Encoder::Encode(*value_, Identifier::kValue));
    }

  protected:
    const char* memberName_;

  private:
    const Value* value_;
};

}  // namespace readable

// Throws UnexpactedAsnIdentifier for an object of another identifier.
template <typename Encoder, typename Value, typename Identifier>
class PrimitiveSerializable : public readable::PrimitiveSerializable<Encoder, Value, Identifier> {
  public:
    PrimitiveSerializable(const char* memberName, Value* value)
        : readable::PrimitiveSerializable<Encoder, Value, Identifier>(memberName, value),
          target_(value) {}

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override {
        object->CheckIdentifier(Identifier::kValue, context + this->memberName_);
        Encoder::Decode(object, target_);
        return true;
    }

  private:
    Value* target_;
};

using IntegerMember =
    PrimitiveSerializable<IntegerEncoder, std::uint32_t, ConstAsnIdentifier<0, 2, false>>;
using OctetStringMember =
    PrimitiveSerializable<BinaryContentEncoder, Blob, ConstAsnIdentifier<0, 4, false>>;
using ObjectIdMember =
    PrimitiveSerializable<ObjectIdEncoder, ObjectId, ConstAsnIdentifier<0, 6, false>>;
using BlobSetMember = PrimitiveSerializable<AsnBlobCollectionEncoder, std::list<Blob>,
                                            ConstAsnIdentifier<0, 17, true>>;
using ByteStringMember =
    PrimitiveSerializable<ByteStringEncoder, std::wstring, ConstAsnIdentifier<0, 19, false>>;

namespace readable {

using IntegerMember =
    PrimitiveSerializable<IntegerEncoder, std::uint32_t, ConstAsnIdentifier<0, 2, false>>;
using OctetStringMember =
    PrimitiveSerializable<BinaryContentEncoder, Blob, ConstAsnIdentifier<0, 4, false>>;
using ObjectIdMember =
    PrimitiveSerializable<ObjectIdEncoder, ObjectId, ConstAsnIdentifier<0, 6, false>>;
using BlobSetMember = PrimitiveSerializable<AsnBlobCollectionEncoder, std::list<Blob>,
                                            ConstAsnIdentifier<0, 17, true>>;
using ByteStringMember =
    PrimitiveSerializable<ByteStringEncoder, std::wstring, ConstAsnIdentifier<0, 19, false>>;

}  // namespace readable

}  // namespace pkisdk::asn
