#include "asn/asn_binary_node.h"

#include <cstring>

namespace pkisdk::asn {

AsnBinaryNode::AsnBinaryNode(const AsnIdentifier& identifier) : AsnNode(identifier) {}

AsnBinaryNode::AsnBinaryNode(const AsnIdentifier& identifier, const Blob* borrowed)
    : AsnNode(identifier), borrowed_(borrowed) {}

AsnBinaryNode::AsnBinaryNode(const AsnObjectHandle& object)
    : AsnNode(object->GetIdentifier(), object->IsIndefinite()) {
    const std::span<const std::uint8_t> octets = object->GetContent();
    content.Assign(octets.data(), octets.size());
}

std::uint32_t AsnBinaryNode::CalculateContentSize() const {
    return ToAsnSize(GetContent().GetSize());
}

void AsnBinaryNode::SerializeContent(BlobCursor& cursor) const {
    const std::span<const std::uint8_t> octets = GetContent().Bytes();
    if (octets.empty()) {
        return;
    }
    const std::int32_t room = cursor.RemainingSize();
    if (room < 0 || static_cast<std::size_t>(room) < octets.size()) {
        throw NotEnoughMemoryForAsnBlob("[asn::AsnBinaryNode::SerializeContent]");
    }
    std::memcpy(cursor.Current(), octets.data(), octets.size());
    cursor.Advance(static_cast<std::int32_t>(octets.size()));
}

}  // namespace pkisdk::asn
