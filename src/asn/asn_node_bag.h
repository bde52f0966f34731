// A node around exactly one other, as an explicit tag is.
#pragma once

#include "asn/asn_node_group.h"

namespace pkisdk::asn {

// Its content size is computed each time. Without a child, which an empty handle leaves it, it is
// written as an element without content.
class AsnNodeBag final : public AsnNodeGroup {
  public:
    AsnNodeBag(const AsnIdentifier& identifier, const AsnNodeHandle& child);
};

}  // namespace pkisdk::asn
