// One parsed element of a blob: the read side of the framework.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "asn/asn_element.h"
#include "asn/asn_handle.h"
#include "asn/indefinite_sizes.h"
#include "foundation/asn_exceptions.h"
#include "foundation/blob_cursor.h"

namespace pkisdk::asn {

class AsnObjectReadable;
using AsnObjectHandle = AsnHandle<const AsnObjectReadable>;

// Points into a blob that it neither owns nor writes to, and that must outlive it unchanged. Lives
// on the heap behind handles. A child keeps its parents alive; a parent does not know its children.
//
// The length of an object may pass the end of its blob where its top bit is set. Such an object
// stands, and what would read the missing octets throws BadAsnData.
class AsnObjectReadable final : public IAsnObjectPlace {
  public:
    // The element at the start of `blob`. Throws as the constructor does.
    static AsnObjectHandle FromBlob(const IBlob& blob);
    static AsnObjectHandle FromBlob(const IBlob&& blob) = delete;

    // The element at the cursor, which moves behind its header. `parent` is the object that it is
    // part of, or empty. Throws BadAsnData, see AsnElement.
    AsnObjectReadable(BlobCursor& cursor, AsnObjectHandle parent);
    ~AsnObjectReadable() override = default;
    AsnObjectReadable(const AsnObjectReadable&) = delete;
    AsnObjectReadable& operator=(const AsnObjectReadable&) = delete;

    const AsnIdentifier& GetIdentifier() const { return element_.header.identifier; }
    bool IsIndefinite() const { return element_.IsIndefinite(); }
    // Whether there is content. An indefinite object that is empty has none.
    bool HasContent() const { return element_.hasContent; }
    // In octets. The first call on an indefinite object walks its children and throws BadAsnData
    // if they do not end; a primitive one of that form, with content, answers 0xFFFFFFFE.
    std::uint32_t GetContentSize() const;
    // The content. Throws BadAsnData where the object passes the end of its blob.
    std::span<const std::uint8_t> GetContent() const;
    // At the first octet of the content.
    BlobCursor GetContentCursor() const { return {blob_, element_.contentPosition}; }
    // Of the first identifier octet.
    std::uint32_t GetOffset() const { return static_cast<std::uint32_t>(element_.offset); }
    const AsnObjectHandle& GetParent() const { return parent_; }
    const AsnElement& GetElement() const { return element_; }

    // Behind the object, as an address and as an octet of the blob. Behind an empty indefinite
    // object it is two octets too far. It may lie past the end of the blob, and is not to be read.
    const std::uint8_t* GetObjectEnd() const;
    std::uint64_t GetEndPosition() const;
    // The nearest enclosing object of definite length, or empty.
    AsnObjectHandle GetDefiniteParent() const { return AsnObjectHandle(definiteParent_); }
    // Where the elements inside this object must end.
    AsnLimit GetLimitOfChildren() const;
    // A new object for the first child; empty if this object is primitive or has no content.
    // Throws BadAsnData for a bad child.
    AsnObjectHandle GetFirstChild() const;

    // Throws UnexpactedAsnIdentifier, with `context`, unless AcceptsIdentifier.
    void CheckIdentifier(const AsnIdentifier& expected, const std::string& context) const;

    // The content two octets a character, in the order of the machine. Throws AsnException if its
    // size is odd.
    void CopyContentTo(std::wstring* content) const;
    // The whole object as it stands. Behind an empty indefinite object, as far as the blob goes,
    // come the two octets that GetObjectEnd adds.
    void CopyObjectTo(IBlob* target) const;
    // The content of a primitive object. `target` is cleared first; then AsnException if the object
    // is constructed.
    void ReadContent(IBlob* target) const;

    // Keeps the size that a walk over the children of this indefinite object has found.
    void KeepMeasuredSize(std::uint32_t size) const;

    std::int32_t GetPlaceOffset() const override { return element_.offset; }
    // See GetAsnIdentifierName.
    std::string GetPlaceIdentifierName() const override;

  private:
    friend void intrusive_ptr_add_ref(const AsnObjectReadable* object);
    friend void intrusive_ptr_release(const AsnObjectReadable* object);

    [[noreturn]] void ThrowPastEnd(const char* routine) const;
    IndefiniteSizes& SizesOfDocument() const;
    // The size of the content by a walk over it.
    std::uint32_t MeasureContent() const;

    AsnObjectHandle parent_;
    IBlob* blob_;
    // Both are kept alive by the handle to the parent.
    const AsnObjectReadable* root_;
    const AsnObjectReadable* definiteParent_;
    AsnElement element_;
    // The root's serve all objects of its document.
    mutable std::unique_ptr<IndefiniteSizes> sizes_;
    mutable std::uint32_t measuredSize_ = 0;
    mutable std::uint32_t handles_ = 0;
};

}  // namespace pkisdk::asn
