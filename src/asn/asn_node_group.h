// What the nodes that have nodes below them share.
#pragma once

#include <cstdint>
#include <list>
#include <optional>

#include "asn/asn_node.h"

namespace pkisdk::asn {

class AsnNodeGroup : public AsnNode {
  public:
    ~AsnNodeGroup() override;

    std::uint32_t CalculateContentSize() const override;
    void SerializeContent(BlobCursor& cursor) const override;

  protected:
    using Children = std::list<AsnNodeHandle>;

    // `routine` is what a failure to write the count of unused bits of a BIT STRING names.
    AsnNodeGroup(const AsnIdentifier& identifier, const char* routine)
        : AsnNode(identifier, this), routine_(routine) {}

    Children children_;

  private:
    friend class AsnNode;

    // The size of the content, if it need not be computed.
    virtual std::optional<std::uint32_t> GetKnownSize() const { return std::nullopt; }
    virtual void KeepSize(std::uint32_t) const {}

    bool IsBitString() const { return GetIdentifier() == kBitStringIdentifier; }
    // What stands between the header and the children.
    void WriteLead(BlobCursor& cursor) const;
    // Takes the children away.
    void MoveChildrenTo(Children* target);

    const char* routine_;
};

}  // namespace pkisdk::asn
