#include "asn/asn_node_bag.h"

namespace pkisdk::asn {

AsnNodeBag::AsnNodeBag(const AsnIdentifier& identifier, const AsnNodeHandle& child)
    : AsnNodeGroup(identifier, "[AsnNodeBag::SerializeContent]") {
    if (child != nullptr) {
        children_.push_back(child);
    }
}

}  // namespace pkisdk::asn
