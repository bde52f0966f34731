#include "schema/encr_alg_identifier.h"

#include "asn/primitive_serializable.h"
#include "asn/sequence.h"
#include "asn/serializable_wrapper.h"
#include "schema/context_names.h"

namespace pkisdk::asn {

EncrAlgIdentifier::EncrAlgIdentifier() {
    oid.SetText("1.2.643.2.2.21");
}

void EncrAlgIdentifier::Clear() {
    oid = {};
    additionalInfo.Clear();
}

bool EncrAlgIdentifier::DeserializeFromAsnObject(const AsnObjectHandle& object,
                                                 const std::string& context) {
    Clear();
    ObjectIdMember oidMember(".oid", &oid);
    SerializableWrapper<EncrAdditionalInfo> infoMember(".additionalInfo", &additionalInfo);
    Sequence sequence(kSequenceIdentifier);
    sequence.Add(oidMember);
    sequence.Add(infoMember);
    return sequence.DeserializeFromAsnObject(object, ContextOr(context, kEncrAlgIdentifierContext));
}

AsnNodeHandle EncrAlgIdentifier::SerializeToAsnNode(const AsnNodeContainerHandle& parent) const {
    const readable::ObjectIdMember oidMember(".oid", &oid);
    const SerializableWrapper<EncrAdditionalInfo> infoMember(".additionalInfo", &additionalInfo);
    readable::Sequence sequence(kSequenceIdentifier);
    sequence.Add(oidMember);
    sequence.Add(infoMember);
    return sequence.SerializeToAsnNode(parent);
}

}  // namespace pkisdk::asn
