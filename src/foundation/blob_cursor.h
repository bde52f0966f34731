// A place in a blob, moved along by the readers and writers of the object framework.
#pragma once

#include <cstdint>

#include "foundation/blob.h"

namespace pkisdk {

// A negative position points at nothing and stays there. The blob is not owned and must outlive
// the cursor.
struct BlobCursor {
    IBlob* blob = nullptr;
    std::int32_t position = -1;

    // The byte at the cursor, null at a negative position and in an empty blob. It may lie one past
    // the end: RemainingSize() tells how much may be read.
    std::uint8_t* Current() const;
    // Moves by `count` but never past the end, and not at all from the end. A move to before the
    // start lands on position 2.
    BlobCursor& Advance(std::int32_t count);
    // Bytes from the cursor to the end, 0 at a negative position; negative where a position was set
    // past the end.
    std::int32_t RemainingSize() const;
};

}  // namespace pkisdk
