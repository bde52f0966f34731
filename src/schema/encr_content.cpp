#include "schema/encr_content.h"

#include "asn/primitive_serializable.h"
#include "asn/sequence.h"
#include "asn/serializable_wrapper.h"
#include "schema/context_names.h"

namespace asn = pkisdk::asn;

void EncrContent::Clear() {
    encrContentInfo.Clear();
    unprotectedAttributes.clear();
}

bool EncrContent::DeserializeFromAsnObject(const asn::AsnObjectHandle& object,
                                           const std::string& context) {
    Clear();
    asn::IntegerMember version(".ver", &ver);
    asn::SerializableWrapper<EncrContentInfo> info(".encrContentInfo", &encrContentInfo);
    asn::Sequence sequence(asn::kSequenceIdentifier);
    sequence.Add(version);
    sequence.Add(info);
    return sequence.DeserializeFromAsnObject(object,
                                             asn::ContextOr(context, asn::kEncrContentContext));
}

asn::AsnNodeHandle EncrContent::SerializeToAsnNode(
    const asn::AsnNodeContainerHandle& parent) const {
    const asn::readable::IntegerMember version(".ver", &ver);
    const asn::SerializableWrapper<EncrContentInfo> info(".encrContentInfo", &encrContentInfo);
    asn::readable::Sequence sequence(asn::kSequenceIdentifier);
    sequence.Add(version);
    sequence.Add(info);
    return sequence.SerializeToAsnNode(parent);
}
