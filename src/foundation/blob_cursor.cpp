#include "foundation/blob_cursor.h"

namespace pkisdk {

namespace {

constexpr std::int32_t kPositionAfterUnderrun = 2;

// Whether `position`, which is not negative, is at the end of the blob or past it.
bool AtEnd(const IBlob& blob, std::int32_t position) {
    return static_cast<std::uint64_t>(position) >= blob.GetSize();
}

}  // namespace

std::uint8_t* BlobCursor::Current() const {
    return position < 0 || blob->IsEmpty() ? nullptr : blob->GetData() + position;
}

BlobCursor& BlobCursor::Advance(std::int32_t count) {
    if (position < 0 || AtEnd(*blob, position)) {
        return *this;
    }
    const auto sum = static_cast<std::int32_t>(static_cast<std::uint32_t>(position) +
                                               static_cast<std::uint32_t>(count));
    if (sum < 0) {
        position = kPositionAfterUnderrun;
    } else if (AtEnd(*blob, sum)) {
        position = static_cast<std::int32_t>(blob->GetSize());
    } else {
        position = sum;
    }
    return *this;
}

std::int32_t BlobCursor::RemainingSize() const {
    return position < 0 ? 0
                        : static_cast<std::int32_t>(static_cast<std::uint32_t>(blob->GetSize()) -
                                                    static_cast<std::uint32_t>(position));
}

}  // namespace pkisdk
