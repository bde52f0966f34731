// A mandatory member that is NULL where there is no value.
#pragma once

#include <string>
#include <utility>

#include "asn/emptiness_test.h"
#include "asn/i_asn_serializable.h"
#include "foundation/blob.h"

namespace pkisdk::asn {

// `Member` holds the value; whether this can be read is up to it. NULL leaves the value as it is.
template <typename Member>
class Nullable : public IAsnSerializable {
  public:
    Nullable(Member member, EmptinessTest<Blob> test) : member_(std::move(member)), test_(test) {}

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override {
        if (object->GetIdentifier() != kNullIdentifier) {
            member_.DeserializeFromAsnObject(object, context);
        }
        return true;
    }
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override {
        return AttachTo(parent, test_.SaysEmpty() ? AsnNodeHandle(MakeAsn<NullAsnNode>())
                                                  : member_.SerializeToAsnNode({}));
    }

  private:
    Member member_;
    EmptinessTest<Blob> test_;
};

}  // namespace pkisdk::asn
