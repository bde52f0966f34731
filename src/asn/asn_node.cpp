#include "asn/asn_node.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "asn/asn_content_size.h"
#include "asn/asn_cursor.h"
#include "asn/asn_node_group.h"
#include "foundation/asn_exceptions.h"

namespace pkisdk::asn {

namespace {

// All ones stands for a size that is not known.
constexpr std::uint32_t kLargestSize = 0xFFFFFFFE;
constexpr std::uint32_t kLargestPosition = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kContextEndSize = 2;

}  // namespace

void intrusive_ptr_add_ref(AsnNode* node) {
    ++node->handles_;
}

void intrusive_ptr_release(AsnNode* node) {
    if (--node->handles_ == 0) {
        const std::unique_ptr<AsnNode> last(node);
    }
}

std::uint32_t AddAsnSizes(std::uint32_t left, std::uint32_t right) {
    return ToAsnSize(std::uint64_t{left} + right);
}

std::uint32_t ToAsnSize(std::uint64_t size) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(size, kLargestSize));
}

std::uint32_t AsnNode::CalculateContentSize() const {
    return 0;
}

void AsnNode::SerializeContent(BlobCursor&) const {}

std::uint32_t AsnNode::GetEncodedSize() const {
    return EncodedSizeWith(CalculateContentSize());
}

std::uint32_t AsnNode::EncodedSizeWith(std::uint32_t contentSize) const {
    const std::uint32_t indefinite = isIndefinite_ ? 1 : 0;
    const std::uint32_t around = EncodedIdentifierSize(identifier_) +
                                 EncodedLengthSize({indefinite, contentSize}) +
                                 (isIndefinite_ ? kContextEndSize : 0U);
    return AddAsnSizes(contentSize, around);
}

void AsnNode::Serialize(IBlob* target) const {
    const std::uint32_t size = GetEncodedSize();
    // No cursor has a valid position in a blob of that size, so that writing its first octet would
    // fail after all of it has been allocated.
    if (size > kLargestPosition) {
        throw NotEnoughMemoryForAsnBlob("[AsnIdentifier::Serialize]");
    }
    target->SetSize(size);
    BlobCursor cursor = CursorOver(*target);
    Write(cursor);
}

void AsnNode::Write(BlobCursor& cursor) const {
    struct Open {
        const AsnNodeGroup* group;
        AsnNodeGroup::Children::const_iterator next;
    };
    // Their ends need no writing: only a leaf that was copied from a document is ever indefinite.
    std::vector<Open> open;
    const AsnNode* node = this;
    for (;;) {
        node->WriteHeader(cursor);
        if (node->group_ != nullptr) {
            node->group_->WriteLead(cursor);
            open.push_back({node->group_, node->group_->children_.begin()});
        } else {
            node->SerializeContent(cursor);
            node->WriteEnd(cursor);
        }
        while (!open.empty() && open.back().next == open.back().group->children_.end()) {
            open.pop_back();
        }
        if (open.empty()) {
            return;
        }
        node = (open.back().next++)->get();
    }
}

void AsnNode::WriteHeader(BlobCursor& cursor) const {
    identifier_.Serialize(cursor);
    AsnContentSize{isIndefinite_ ? 1U : 0U, CalculateContentSize()}.Serialize(cursor);
}

void AsnNode::WriteEnd(BlobCursor& cursor) const {
    if (isIndefinite_) {
        WriteContextEnd(cursor);
    }
}

void WriteContextEnd(BlobCursor& cursor) {
    if (cursor.RemainingSize() < kContextEndSize) {
        throw NotEnoughMemoryForAsnBlob("[AsnNode::WriteContextEnd]");
    }
    std::fill_n(cursor.Current(), kContextEndSize, std::uint8_t{0});
    cursor.Advance(kContextEndSize);
}

}  // namespace pkisdk::asn
