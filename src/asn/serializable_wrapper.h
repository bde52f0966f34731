// A schema object as a member of another.
#pragma once

#include <string>

#include "asn/i_asn_serializable.h"
#include "foundation/asn_exceptions.h"

namespace pkisdk::asn {

// Built over a constant object it can only be written.
template <typename T>
class SerializableWrapper : public IAsnSerializable {
  public:
    SerializableWrapper(const char* memberName, T* object)
        : target_(object), object_(object), memberName_(memberName) {}
    SerializableWrapper(const char* memberName, const T* object)
        : object_(object), memberName_(memberName) {}

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override {
        if (target_ == nullptr) {
            throw AsnException(0,
                               "[Serializable::Deserialize] Deserealization is not supported for "
                               "const object.");
        }
        target_->DeserializeFromAsnObject(object, context + memberName_);
        return true;
    }
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override {
        return object_->SerializeToAsnNode(parent);
    }

  private:
    T* target_ = nullptr;
    const T* object_;
    const char* memberName_;
};

}  // namespace pkisdk::asn
