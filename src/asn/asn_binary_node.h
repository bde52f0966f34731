// A leaf of the output tree.
#pragma once

#include "asn/asn_node.h"
#include "asn/asn_object_readable.h"
#include "foundation/blob.h"

namespace pkisdk::asn {

class AsnBinaryNode final : public AsnNode {
  public:
    // In the definite form, with the content yet to be filled in.
    explicit AsnBinaryNode(const AsnIdentifier& identifier);
    // In the definite form, writing `borrowed`, which must outlive the node: large content is
    // copied once, to where it is written.
    AsnBinaryNode(const AsnIdentifier& identifier, const Blob* borrowed);
    // A copy of the object: its identifier, its form, and its content as one run of octets. Throws
    // BadAsnData where the object passes the end of its blob.
    explicit AsnBinaryNode(const AsnObjectHandle& object);

    std::uint32_t CalculateContentSize() const override;
    void SerializeContent(BlobCursor& cursor) const override;

    // What is written.
    const Blob& GetContent() const { return borrowed_ != nullptr ? *borrowed_ : content; }

    // Of a node that borrows none.
    Blob content;

  private:
    const Blob* borrowed_ = nullptr;
};

}  // namespace pkisdk::asn
