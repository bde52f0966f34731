#include "asn/asn_node_container.h"

#include "foundation/asn_exceptions.h"

namespace pkisdk::asn {

AsnNodeContainer::AsnNodeContainer(const AsnIdentifier& identifier)
    : AsnNodeGroup(identifier, "[asn::AsnNodeContainer::SerializeContent]") {
    if (!identifier.IsConstructed()) {
        throw AsnException(0,
                           "[AsnNodeContainer::AsnNodeContainer] The class supports only "
                           "constructed ASN objects.");
    }
}

void AsnNodeContainer::AddChild(const AsnNodeHandle& child) {
    if (child == nullptr) {
        return;
    }
    // Only a container is ever a parent.
    for (auto* node = this; node != nullptr && node->knownSize_.has_value();
         node = static_cast<AsnNodeContainer*>(node->parent_)) {
        node->knownSize_.reset();
    }
    children_.push_back(child);
    child->parent_ = this;
}

std::optional<std::uint32_t> AsnNodeContainer::GetKnownSize() const {
    return knownSize_;
}

// An empty container stays without a known size.
void AsnNodeContainer::KeepSize(std::uint32_t size) const {
    if (!children_.empty()) {
        knownSize_ = size;
    }
}

AsnNodeHandle AttachTo(const AsnNodeContainerHandle& parent, AsnNodeHandle node) {
    if (parent != nullptr) {
        parent->AddChild(node);
    }
    return node;
}

}  // namespace pkisdk::asn
