#include "schema/attributes_set.h"

#include "asn/primitive_serializable.h"
#include "asn/sequence.h"
#include "schema/context_names.h"

namespace pkisdk::asn {

void AttributesSet::Clear() {
    oid = {};
    values.clear();
}

bool AttributesSet::DeserializeFromAsnObject(const AsnObjectHandle& object,
                                             const std::string& context) {
    Clear();
    ObjectIdMember oidMember(".oid", &oid);
    BlobSetMember valuesMember(".values", &values);
    Sequence sequence(kSequenceIdentifier);
    sequence.Add(oidMember);
    sequence.Add(valuesMember);
    return sequence.DeserializeFromAsnObject(object, ContextOr(context, kAttributesSetContext));
}

AsnNodeHandle AttributesSet::SerializeToAsnNode(const AsnNodeContainerHandle& parent) const {
    const readable::ObjectIdMember oidMember(".oid", &oid);
    const readable::BlobSetMember valuesMember(".values", &values);
    readable::Sequence sequence(kSequenceIdentifier);
    sequence.Add(oidMember);
    sequence.Add(valuesMember);
    return sequence.SerializeToAsnNode(parent);
}

}  // namespace pkisdk::asn
