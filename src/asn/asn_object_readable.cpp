#include "asn/asn_object_readable.h"

#include <cstring>
#include <utility>

#include "asn/asn_cursor.h"

namespace pkisdk::asn {

namespace {

// Of an object whose parent is `parent`, so that a long chain of indefinite ones is not climbed
// anew for each child at its end.
const AsnObjectReadable* DefiniteParentUnder(const AsnObjectReadable* parent) {
    return parent != nullptr && parent->IsIndefinite() ? parent->GetDefiniteParent().get() : parent;
}

}  // namespace

void intrusive_ptr_add_ref(const AsnObjectReadable* object) {
    ++object->handles_;
}

// An object that goes lets go of its parent, which may be the last one to hold that: a loop, since
// the chain is as long as the document is deep.
void intrusive_ptr_release(const AsnObjectReadable* object) {
    while (object != nullptr && --object->handles_ == 0) {
        const std::unique_ptr<AsnObjectReadable> last(const_cast<AsnObjectReadable*>(object));
        object = last->parent_.detach();
    }
}

AsnObjectHandle AsnObjectReadable::FromBlob(const IBlob& blob) {
    BlobCursor cursor = CursorOver(blob);
    return MakeAsn<AsnObjectReadable>(cursor, AsnObjectHandle());
}

AsnObjectReadable::AsnObjectReadable(BlobCursor& cursor, AsnObjectHandle parent)
    : parent_(std::move(parent)),
      blob_(cursor.blob),
      root_(parent_ != nullptr && parent_->blob_ == blob_ ? parent_->root_ : this),
      definiteParent_(DefiniteParentUnder(parent_.get())),
      element_(cursor, parent_ != nullptr ? parent_->GetLimitOfChildren() : AsnLimit()) {}

std::uint32_t AsnObjectReadable::GetContentSize() const {
    if (!element_.NeedsMeasuring()) {
        return element_.header.contentSize.size;
    }
    if (measuredSize_ == 0) {
        measuredSize_ = MeasureContent();
    }
    return measuredSize_;
}

std::uint32_t AsnObjectReadable::MeasureContent() const {
    return SizesOfDocument().Measure(*blob_, element_, GetLimitOfChildren());
}

void AsnObjectReadable::KeepMeasuredSize(std::uint32_t size) const {
    if (element_.NeedsMeasuring() && measuredSize_ == 0) {
        measuredSize_ = size;
        SizesOfDocument().Keep(element_, size);
    }
}

std::span<const std::uint8_t> AsnObjectReadable::GetContent() const {
    if (!HasContent()) {
        return {};
    }
    const std::uint32_t size = GetContentSize();
    const auto position = static_cast<std::uint64_t>(element_.contentPosition);
    if (position + size > blob_->GetSize()) {
        ThrowPastEnd("[AsnObjectReadable::GetContent]");
    }
    return {std::as_const(*blob_).GetData() + position, size};
}

std::uint64_t AsnObjectReadable::GetEndPosition() const {
    return static_cast<std::uint64_t>(element_.contentPosition) + GetContentSize() +
           (IsIndefinite() ? kEndOfContentsSize : 0U);
}

// By way of an integer, since the place may be nowhere near the blob.
const std::uint8_t* AsnObjectReadable::GetObjectEnd() const {
    const auto start = reinterpret_cast<std::uintptr_t>(std::as_const(*blob_).GetData());
    return reinterpret_cast<const std::uint8_t*>(start +
                                                 static_cast<std::uintptr_t>(GetEndPosition()));
}

AsnLimit AsnObjectReadable::GetLimitOfChildren() const {
    const AsnObjectReadable* const definite = DefiniteParentUnder(this);
    return definite != nullptr ? AsnLimit(definite->GetEndPosition()) : AsnLimit();
}

AsnObjectHandle AsnObjectReadable::GetFirstChild() const {
    if (!GetIdentifier().IsConstructed() || !HasContent()) {
        return {};
    }
    BlobCursor cursor = GetContentCursor();
    return MakeAsn<AsnObjectReadable>(cursor, AsnObjectHandle(this));
}

void AsnObjectReadable::CheckIdentifier(const AsnIdentifier& expected,
                                        const std::string& context) const {
    if (!AcceptsIdentifier(expected, GetIdentifier())) {
        throw UnexpactedAsnIdentifier(this, GetAsnIdentifierName(expected), "", context);
    }
}

void AsnObjectReadable::CopyContentTo(std::wstring* content) const {
    if (GetContentSize() % sizeof(char16_t) != 0) {
        throw AsnException(
            0, "[AsnObjectReadable::CopyContentTo (std::wstring& content)] Incorrect content.");
    }
    const std::span<const std::uint8_t> octets = GetContent();
    content->clear();
    content->reserve(octets.size() / sizeof(char16_t));
    for (std::size_t i = 0; i < octets.size(); i += sizeof(char16_t)) {
        char16_t unit = 0;
        std::memcpy(&unit, &octets[i], sizeof(unit));
        content->push_back(static_cast<wchar_t>(unit));
    }
}

void AsnObjectReadable::CopyObjectTo(IBlob* target) const {
    std::uint64_t end = GetEndPosition();
    if (end > blob_->GetSize()) {
        if (HasContent()) {
            ThrowPastEnd("[AsnObjectReadable::CopyObjectTo]");
        }
        end = blob_->GetSize();
    }
    const auto start = static_cast<std::uint64_t>(element_.offset);
    target->Assign(std::as_const(*blob_).GetData() + start, end - start);
}

void AsnObjectReadable::ReadContent(IBlob* target) const {
    target->Clear();
    if (GetIdentifier().IsConstructed()) {
        throw AsnException(0,
                           "[AsnObjectReadable::ReadContent] Imposible read the content of "
                           "constructed object by this method.");
    }
    const std::span<const std::uint8_t> content = GetContent();
    target->Assign(content.data(), content.size());
}

std::string AsnObjectReadable::GetPlaceIdentifierName() const {
    return GetAsnIdentifierName(GetIdentifier());
}

void AsnObjectReadable::ThrowPastEnd(const char* routine) const {
    throw BadAsnData(CursorAt(*blob_, element_.offset),
                     std::string(routine) + " End of object is out of ASN BLOB.");
}

IndefiniteSizes& AsnObjectReadable::SizesOfDocument() const {
    if (root_->sizes_ == nullptr) {
        root_->sizes_ = std::make_unique<IndefiniteSizes>();
    }
    return *root_->sizes_;
}

}  // namespace pkisdk::asn
