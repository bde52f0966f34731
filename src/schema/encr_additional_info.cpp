#include "schema/encr_additional_info.h"

#include "asn/primitive_serializable.h"
#include "asn/sequence.h"

namespace pkisdk::asn {

EncrAdditionalInfo::EncrAdditionalInfo() {
    EncrParams.SetText("1.2.643.2.2.31.1");
}

void EncrAdditionalInfo::Clear() {
    EncrParams = {};
    Synchr.Clear();
}

bool EncrAdditionalInfo::DeserializeFromAsnObject(const AsnObjectHandle& object,
                                                  const std::string& context) {
    Clear();
    if (object->GetIdentifier() == kNullIdentifier) {
        return true;
    }
    OctetStringMember synchr(".Synchr", &Synchr);
    ObjectIdMember encrParams(".EncrParams", &EncrParams);
    Sequence sequence(kSequenceIdentifier);
    sequence.Add(synchr);
    sequence.Add(encrParams);
    return sequence.DeserializeFromAsnObject(object, context);
}

AsnNodeHandle EncrAdditionalInfo::SerializeToAsnNode(const AsnNodeContainerHandle& parent) const {
    const readable::OctetStringMember synchr(".Synchr", &Synchr);
    const readable::ObjectIdMember encrParams(".EncrParams", &EncrParams);
    readable::Sequence sequence(kSequenceIdentifier);
    sequence.Add(synchr);
    sequence.Add(encrParams);
    return sequence.SerializeToAsnNode(parent);
}

}  // namespace pkisdk::asn
