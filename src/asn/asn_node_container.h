// A constructed node with any number of nodes below it.
#pragma once

#include <cstdint>
#include <optional>

#include "asn/asn_node_group.h"

namespace pkisdk::asn {

// Its content size is computed once and kept until a child is added.
class AsnNodeContainer final : public AsnNodeGroup {
  public:
    // Throws AsnException for an identifier that is not constructed.
    explicit AsnNodeContainer(const AsnIdentifier& identifier);

    // Adds the child at the end, and makes this node its parent. An empty handle is passed over.
    // Sizes are forgotten upward from here, as far as they are known without a gap.
    void AddChild(const AsnNodeHandle& child);

  private:
    std::optional<std::uint32_t> GetKnownSize() const override;
    void KeepSize(std::uint32_t size) const override;

    mutable std::optional<std::uint32_t> knownSize_;
};

using AsnNodeContainerHandle = AsnHandle<AsnNodeContainer>;

// Adds `node` to `parent` unless that is empty, and hands it back.
AsnNodeHandle AttachTo(const AsnNodeContainerHandle& parent, AsnNodeHandle node);

}  // namespace pkisdk::asn
