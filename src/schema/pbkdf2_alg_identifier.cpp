#include "schema/pbkdf2_alg_identifier.h"

#include "asn/primitive_serializable.h"
#include "asn/sequence.h"
#include "asn/serializable_wrapper.h"
#include "schema/context_names.h"

namespace pkisdk::asn {

PBKDF2AlgIdentifier::PBKDF2AlgIdentifier() {
    oid.SetText("1.2.840.113549.1.5.12");
}

void PBKDF2AlgIdentifier::Clear() {
    oid = {};
    additionalInfo.Clear();
}

bool PBKDF2AlgIdentifier::DeserializeFromAsnObject(const AsnObjectHandle& object,
                                                   const std::string& context) {
    Clear();
    ObjectIdMember oidMember(".oid", &oid);
    SerializableWrapper<PBKDF2AdditionalInfo> infoMember(".additionalInfo", &additionalInfo);
    Sequence sequence(kSequenceIdentifier);
    sequence.Add(oidMember);
    sequence.Add(infoMember);
    return sequence.DeserializeFromAsnObject(object,
                                             ContextOr(context, kPbkdf2AlgIdentifierContext));
}

AsnNodeHandle PBKDF2AlgIdentifier::SerializeToAsnNode(const AsnNodeContainerHandle& parent) const {
    const readable::ObjectIdMember oidMember(".oid", &oid);
    const SerializableWrapper<PBKDF2AdditionalInfo> infoMember(".additionalInfo", &additionalInfo);
    readable::Sequence sequence(kSequenceIdentifier);
    sequence.Add(oidMember);
    sequence.Add(infoMember);
    return sequence.SerializeToAsnNode(parent);
}

}  // namespace pkisdk::asn
