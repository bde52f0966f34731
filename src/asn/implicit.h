// An optional member under an implicit context tag, in primitive form.
#pragma once

#include <cstdint>
#include <string>

#include "asn/emptiness_test.h"
#include "asn/i_asn_serializable.h"

namespace pkisdk::asn {

namespace readable {

// Written unless the test says that the value is empty. No message bears the member name: an object
// that does not match is no failure.
template <typename Encoder, typename Value>
class Implicit : public IAsnSerializable {
  public:
    using Test = bool (Value::*)() const;

    Implicit(const char* /*memberName*/, const Value* value, std::uint32_t tag, Test test)
        : value_(value), tag_(tag), test_{value, test} {}

    bool DeserializeFromAsnObject(const AsnObjectHandle&, const std::string&) override {
        ThrowNotImplemented("[asn::readable::Implicit::Deserialize]");
    }
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override {
        if (test_.SaysEmpty()) {
            return {};
        }
        return AttachTo(parent, Encoder::Encode(*value_, PrimitiveContextIdentifier(tag_)));
    }
    bool IsOptional() const override { return true; }

  protected:
    std::uint32_t GetTag() const { return tag_; }

  private:
    const Value* value_;
    std::uint32_t tag_;
    EmptinessTest<Value> test_;
};

}  // namespace readable

// Takes an object that bears the tag; any other is left for the next member.
template <typename Encoder, typename Value>
class Implicit : public readable::Implicit<Encoder, Value> {
  public:
    using Test = typename readable::Implicit<Encoder, Value>::Test;

    Implicit(const char* memberName, Value* value, std::uint32_t tag, Test test)
        : readable::Implicit<Encoder, Value>(memberName, value, tag, test), target_(value) {}

    bool DeserializeFromAsnObject(const AsnObjectHandle& object, const std::string&) override {
        if (object == nullptr ||
            object->GetIdentifier() != PrimitiveContextIdentifier(this->GetTag())) {
            return false;
        }
        Encoder::Decode(object, target_);
        return true;
    }

  private:
    Value* target_;
};

}  // namespace pkisdk::asn
