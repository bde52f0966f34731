// What the framework means by the position of a cursor. Besides these values, a position is an
// index or, at the end, the size of the blob.
#pragma once

#include <cstdint>

#include "foundation/blob_cursor.h"

namespace pkisdk::asn {

inline constexpr std::int32_t kPositionPastEnd = -1;
inline constexpr std::int32_t kPositionBeforeStart = -2;
inline constexpr std::int32_t kPositionOfEmptyBlob = -3;

// At the first byte of `blob`, which is only read where only readers move the cursor.
BlobCursor CursorOver(IBlob& blob);
BlobCursor CursorOver(const IBlob& blob);

// At `offset`, or past the end or before the start, to tell of that place in a message.
BlobCursor CursorAt(IBlob& blob, std::int32_t offset);

// Whether there is a byte at the cursor. Sizes of 2^31 and more count as the signed numbers that
// their low 32 bits are, so half of them have no valid position at all.
bool IsValid(const BlobCursor& cursor);

}  // namespace pkisdk::asn
