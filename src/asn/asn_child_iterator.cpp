#include "asn/asn_child_iterator.h"

#include <utility>

namespace pkisdk::asn {

AsnChildIterator::AsnChildIterator(AsnObjectHandle object)
    : object_(std::move(object)), position_(object_->GetContentCursor()) {}

bool AsnChildIterator::Begin() {
    position_ = object_->GetContentCursor();
    current_ = object_->GetFirstChild();
    return true;
}

bool AsnChildIterator::Next() {
    if (current_ == nullptr) {
        return false;
    }
    BlobCursor cursor =
        CursorBehind(*position_.blob, current_->GetElement(), current_->GetContentSize());
    if (IsEnd(cursor)) {
        if (object_->IsIndefinite()) {
            const std::int32_t start = object_->GetContentCursor().position;
            object_->KeepMeasuredSize(static_cast<std::uint32_t>(cursor.position - start));
            cursor.Advance(kEndOfContentsSize);
        }
        position_ = cursor;
        current_.reset();
        return false;
    }
    position_ = cursor;
    current_ = MakeAsn<AsnObjectReadable>(cursor, object_);
    return true;
}

const AsnObjectHandle& AsnChildIterator::Current(const std::string& context) const {
    if (current_ == nullptr) {
        throw BadAsnContent(object_.get(), "", "Unexpacted end of ASN object.", context);
    }
    return current_;
}

bool AsnChildIterator::IsEnd(const BlobCursor& cursor) const {
    if (object_->IsIndefinite()) {
        return IsAtEndOfContents(cursor);
    }
    return static_cast<std::uint64_t>(cursor.position) == object_->GetEndPosition();
}

}  // namespace pkisdk::asn
