// The output tree: what is to be written, held in memory until its size is known.
#pragma once

#include <cstdint>

#include "asn/asn_handle.h"
#include "asn/asn_identifier.h"
#include "foundation/blob_cursor.h"

namespace pkisdk::asn {

class AsnNode;
class AsnNodeGroup;
using AsnNodeHandle = AsnHandle<AsnNode>;

// A node without content, and the base of all others. Lives on the heap behind handles. A tree may
// be as deep as it likes: sizing, writing and releasing it take no stack. A chain of nothing but
// bags is sized anew at each level, so that such chains alone cost more than linear time; no schema
// class makes one.
//
// Sizes are in octets. One that passes 32 bits stays at 0xFFFFFFFE, and such a tree is not written.
class AsnNode {
  public:
    explicit AsnNode(const AsnIdentifier& identifier) : identifier_(identifier) {}
    virtual ~AsnNode() = default;
    AsnNode(const AsnNode&) = delete;
    AsnNode& operator=(const AsnNode&) = delete;

    virtual std::uint32_t CalculateContentSize() const;
    // Writes the content at the cursor and moves it behind. Throws NotEnoughMemoryForAsnBlob where
    // the blob is too short.
    virtual void SerializeContent(BlobCursor& cursor) const;

    // The whole node with its header.
    std::uint32_t GetEncodedSize() const;
    // Replaces the bytes of `target` by the encoded tree. One of 2^31 octets or more is refused
    // first, by NotEnoughMemoryForAsnBlob, and `target` then stands as it was.
    void Serialize(IBlob* target) const;

    const AsnIdentifier& GetIdentifier() const { return identifier_; }
    bool IsIndefinite() const { return isIndefinite_; }
    // The container that the node was last added to; null for a root.
    AsnNode* GetParent() const { return parent_; }

  protected:
    AsnNode(const AsnIdentifier& identifier, AsnNodeGroup* self)
        : identifier_(identifier), group_(self) {}
    AsnNode(const AsnIdentifier& identifier, bool isIndefinite)
        : identifier_(identifier), isIndefinite_(isIndefinite) {}

  private:
    friend class AsnNodeGroup;
    friend class AsnNodeContainer;
    friend void intrusive_ptr_add_ref(AsnNode* node);
    friend void intrusive_ptr_release(AsnNode* node);

    std::uint32_t EncodedSizeWith(std::uint32_t contentSize) const;
    // The node and all below it.
    void Write(BlobCursor& cursor) const;
    void WriteHeader(BlobCursor& cursor) const;
    void WriteEnd(BlobCursor& cursor) const;

    AsnNode* parent_ = nullptr;
    AsnIdentifier identifier_;
    bool isIndefinite_ = false;
    // This node as one that has nodes below it; null for a leaf.
    AsnNodeGroup* group_ = nullptr;
    std::uint32_t handles_ = 0;
};

// NULL.
class NullAsnNode final : public AsnNode {
  public:
    NullAsnNode() : AsnNode(kNullIdentifier) {}
};

// Writes end-of-contents octets at the cursor and moves it behind them. Throws
// NotEnoughMemoryForAsnBlob where the blob is too short.
void WriteContextEnd(BlobCursor& cursor);

// Sizes that stop growing short of 2^32.
std::uint32_t AddAsnSizes(std::uint32_t left, std::uint32_t right);
std::uint32_t ToAsnSize(std::uint64_t size);

}  // namespace pkisdk::asn
