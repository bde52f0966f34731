#include "asn/asn_cursor.h"

namespace pkisdk::asn {

BlobCursor CursorOver(IBlob& blob) {
    return {&blob, blob.IsEmpty() ? kPositionOfEmptyBlob : 0};
}

BlobCursor CursorOver(const IBlob& blob) {
    return CursorOver(const_cast<IBlob&>(blob));
}

BlobCursor CursorAt(IBlob& blob, std::int32_t offset) {
    if (offset < 0) {
        return {&blob, kPositionBeforeStart};
    }
    const bool isInside = static_cast<std::uint64_t>(offset) < blob.GetSize();
    return {&blob, isInside ? offset : kPositionPastEnd};
}

bool IsValid(const BlobCursor& cursor) {
    const auto size = static_cast<std::int32_t>(static_cast<std::uint32_t>(cursor.blob->GetSize()));
    return cursor.position >= 0 && cursor.position < size;
}

}  // namespace pkisdk::asn
