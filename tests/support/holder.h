// A schema class of one field that remembers the context it was read in.
#pragma once

#include <string>

#include "asn/primitive_serializable.h"

namespace support {

struct Holder : pkisdk::asn::IAsnSerializable {
    bool DeserializeFromAsnObject(const pkisdk::asn::AsnObjectHandle& object,
                                  const std::string& context) override {
        contextSeen = context;
        pkisdk::asn::OctetStringMember member(".value", &value);
        return member.DeserializeFromAsnObject(object, context);
    }
    pkisdk::asn::AsnNodeHandle SerializeToAsnNode(
        const pkisdk::asn::AsnNodeContainerHandle& parent) const override {
        const pkisdk::asn::readable::OctetStringMember member(".value", &value);
        return member.SerializeToAsnNode(parent);
    }

    pkisdk::Blob value;
    std::string contextSeen;
};

}  // namespace support
