// An optional member under an explicit context tag.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "asn/asn_node_bag.h"
#include "asn/emptiness_test.h"
#include "asn/i_asn_serializable.h"
#include "foundation/blob.h"

namespace pkisdk::asn {

// `Member` stands under the tag; whether this can be read is up to it. Written unless the test says
// that there is nothing to write.
template <typename Member>
class Optional : public IAsnSerializable {
  public:
    Optional(Member member, std::uint32_t tag, EmptinessTest<Blob> test)
        : member_(std::move(member)), tag_(tag), test_(test) {}

    // Takes an object that bears the tag; any other is left for the next member. What stands behind
    // the first child is passed over. Throws BadAsnContent if there is no child.
    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override {
        if (object == nullptr || !IsTag(object->GetIdentifier())) {
            return false;
        }
        const AsnObjectHandle child = object->GetFirstChild();
        if (child == nullptr) {
            throw BadAsnContent(object.get(), "[Optional::Deserialize]",
                                "Optional object can't be empty.", context);
        }
        member_.DeserializeFromAsnObject(child, context);
        return true;
    }
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override {
        if (test_.SaysEmpty()) {
            return {};
        }
        return AttachTo(parent, MakeAsn<AsnNodeBag>(ConstructedContextIdentifier(tag_),
                                                    member_.SerializeToAsnNode({})));
    }
    bool IsOptional() const override { return true; }

  private:
    bool IsTag(const AsnIdentifier& identifier) const {
        return identifier.IsContextSpecific() && identifier.IsConstructed() &&
               identifier.tagNumber == tag_;
    }

    Member member_;
    std::uint32_t tag_;
    EmptinessTest<Blob> test_;
};

}  // namespace pkisdk::asn
