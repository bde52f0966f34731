#include "asn/asn_blob.h"

#include "asn/asn_binary_node.h"

namespace pkisdk::asn {

namespace readable {

bool AsnBlob::DeserializeFromAsnObject(const AsnObjectHandle&, const std::string&) {
    ThrowNotImplemented("[asn::readable::AsnBlob::DeserializeFromAsnObject]");
}

AsnNodeHandle AsnBlob::SerializeToAsnNode(const AsnNodeContainerHandle& parent) const {
    if (value_->IsEmpty()) {
        return {};
    }
    return AttachTo(parent, MakeAsn<AsnBinaryNode>(AsnObjectReadable::FromBlob(*value_)));
}

}  // namespace readable

bool AsnBlob::DeserializeFromAsnObject(const AsnObjectHandle& object, const std::string&) {
    object->CopyObjectTo(target_);
    return true;
}

}  // namespace pkisdk::asn
