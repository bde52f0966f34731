// A leaf of the output tree.
#pragma once

#include "asn/asn_node.h"
#include "asn/asn_object_readable.h"
#include "foundation/blob.h"

namespace pkisdk::asn {

class AsnBinaryNode final : public AsnNode {
  public:
    // Without content, in the definite form.
    explicit AsnBinaryNode(const AsnIdentifier& identifier);
    // A copy of the object: its identifier, its form, and its content as one run of octets. Throws
    // BadAsnData where the object passes the end of its blob.
    explicit AsnBinaryNode(const AsnObjectHandle& object);

    std::uint32_t CalculateContentSize() const override;
    void SerializeContent(BlobCursor& cursor) const override;

    Blob content;
};

}  // namespace pkisdk::asn
