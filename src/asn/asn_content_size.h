// The length octets of an element.
#pragma once

#include <cstdint>

#include "foundation/blob_cursor.h"

namespace pkisdk::asn {

struct AsnContentSize {
    // Reads the octets at the cursor and moves it behind them. Answers the size, of which a long
    // form leaves the low 32 bits; in the indefinite form it answers 0 and sets the flag to 1.
    // Throws BadAsnData where the octets end.
    static std::uint32_t ReadContentSize(BlobCursor& cursor, std::uint32_t* indefinite);

    // Writes the octets at the cursor, as short as they can be, and moves it behind them. Throws
    // NotEnoughMemoryForAsnBlob where the blob is too short.
    void Serialize(BlobCursor& cursor) const;

    friend constexpr bool operator==(const AsnContentSize&, const AsnContentSize&) = default;

    // 1 for the indefinite form, else 0.
    std::uint32_t indefinite = 0;
    // In octets; 0 in the indefinite form until it has been measured.
    std::uint32_t size = 0;
};

// The octets that Serialize writes.
std::uint32_t EncodedLengthSize(const AsnContentSize& contentSize);

}  // namespace pkisdk::asn
