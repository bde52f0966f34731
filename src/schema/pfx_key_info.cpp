#include "schema/pfx_key_info.h"

#include "asn/primitive_serializable.h"
#include "asn/sequence.h"
#include "asn/serializable_wrapper.h"
#include "schema/context_names.h"

namespace asn = pkisdk::asn;

void PfxKeyInfo::Clear() {
    PBES2Sheme.Clear();
    encrKey.Clear();
}

bool PfxKeyInfo::DeserializeFromAsnObject(const asn::AsnObjectHandle& object,
                                          const std::string& context) {
    Clear();
    asn::SerializableWrapper<asn::PBES2AlgIdentifier> scheme(".PBES2Sheme", &PBES2Sheme);
    asn::OctetStringMember key(".encrKey", &encrKey);
    asn::Sequence sequence(asn::kSequenceIdentifier);
    sequence.Add(scheme);
    sequence.Add(key);
    return sequence.DeserializeFromAsnObject(object,
                                             asn::ContextOr(context, asn::kPfxKeyInfoContext));
}

asn::AsnNodeHandle PfxKeyInfo::SerializeToAsnNode(const asn::AsnNodeContainerHandle& parent) const {
    const asn::SerializableWrapper<asn::PBES2AlgIdentifier> scheme(".PBES2Sheme", &PBES2Sheme);
    const asn::readable::OctetStringMember key(".encrKey", &encrKey);
    asn::readable::Sequence sequence(asn::kSequenceIdentifier);
    sequence.Add(scheme);
    sequence.Add(key);
    return sequence.SerializeToAsnNode(parent);
}
