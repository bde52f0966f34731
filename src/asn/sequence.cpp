#include "asn/sequence.h"

#include "foundation/asn_exceptions.h"

namespace pkisdk::asn {

namespace readable {

AsnNodeHandle AsnCollectionSerializer::SerializeToAsnNode(
    const AsnNodeContainerHandle& parent) const {
    if (parent == nullptr) {
        throw AsnException(
            0,
            "[asn::readable::AsnCollectionSerializer::SerializeToAsnNode] Parent ASN "
            "node is undefined.");
    }
    for (const IAsnSerializable* const member : members_) {
        member->SerializeToAsnNode(parent);
    }
    return {};
}

bool Sequence::DeserializeFromAsnObject(const AsnObjectHandle&, const std::string&) {
    ThrowNotImplemented("[asn::readable::Sequence::DeserializeFromAsnObject]");
}

AsnNodeHandle Sequence::SerializeToAsnNode(const AsnNodeContainerHandle& parent) const {
    const auto container = MakeAsn<AsnNodeContainer>(identifier_);
    collection_.SerializeToAsnNode(container);
    return AttachTo(parent, container);
}

}  // namespace readable

void Sequence::Add(IAsnSerializable& member) {
    readable::Sequence::Add(member);
    readMembers_.push_back(&member);
}

bool Sequence::DeserializeFromAsnObject(const AsnObjectHandle& object, const std::string& context) {
    object->CheckIdentifier(GetIdentifier(), context);
    AsnChildIterator iterator(object);
    iterator.Begin();
    for (IAsnSerializable* const member : readMembers_) {
        member->DeserializeFromIterator(iterator, context);
    }
    return true;
}

}  // namespace pkisdk::asn
