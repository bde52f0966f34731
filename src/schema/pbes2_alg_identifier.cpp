#include "schema/pbes2_alg_identifier.h"

#include "asn/primitive_serializable.h"
#include "asn/sequence.h"
#include "asn/serializable_wrapper.h"
#include "schema/context_names.h"

namespace pkisdk::asn {

PBES2AlgIdentifier::PBES2AlgIdentifier() {
    oid.SetText("1.2.840.113549.1.5.13");
}

void PBES2AlgIdentifier::Clear() {
    oid = {};
    KezDeriv.Clear();
    EncrScheme.Clear();
}

bool PBES2AlgIdentifier::DeserializeFromAsnObject(const AsnObjectHandle& object,
                                                  const std::string& context) {
    Clear();
    ObjectIdMember oidMember(".oid", &oid);
    SerializableWrapper<PBKDF2AlgIdentifier> derivation(".KezDeriv", &KezDeriv);
    SerializableWrapper<EncrAlgIdentifier> scheme(".EncrScheme", &EncrScheme);
    Sequence parameters(kSequenceIdentifier);
    parameters.Add(derivation);
    parameters.Add(scheme);
    Sequence sequence(kSequenceIdentifier);
    sequence.Add(oidMember);
    sequence.Add(parameters);
    return sequence.DeserializeFromAsnObject(object,
                                             ContextOr(context, kPbes2AlgIdentifierContext));
}

AsnNodeHandle PBES2AlgIdentifier::SerializeToAsnNode(const AsnNodeContainerHandle& parent) const {
    const readable::ObjectIdMember oidMember(".oid", &oid);
    const SerializableWrapper<PBKDF2AlgIdentifier> derivation(".KezDeriv", &KezDeriv);
    const SerializableWrapper<EncrAlgIdentifier> scheme(".EncrScheme", &EncrScheme);
    readable::Sequence parameters(kSequenceIdentifier);
    parameters.Add(derivation);
    parameters.Add(scheme);
    readable::Sequence sequence(kSequenceIdentifier);
    sequence.Add(oidMember);
    sequence.Add(parameters);
    return sequence.SerializeToAsnNode(parent);
}

}  // namespace pkisdk::asn
