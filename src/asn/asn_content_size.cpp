#include "asn/asn_content_size.h"

#include <bit>

#include "asn/asn_cursor.h"
#include "foundation/asn_exceptions.h"

namespace pkisdk::asn {

namespace {

constexpr std::uint8_t kIndefinite = 0x80;
constexpr std::uint8_t kLongForm = 0x80;
constexpr std::uint8_t kCountMask = 0x7F;
constexpr std::uint32_t kLargestShort = 127;
constexpr std::uint32_t kOctetBits = 8;

std::uint32_t OctetCount(std::uint32_t size) {
    return (static_cast<std::uint32_t>(std::bit_width(size)) + kOctetBits - 1) / kOctetBits;
}

void Put(BlobCursor& cursor, std::uint32_t octet) {
    *cursor.Current() = static_cast<std::uint8_t>(octet);
    cursor.Advance(1);
}

}  // namespace

std::uint32_t AsnContentSize::ReadContentSize(BlobCursor& cursor, std::uint32_t* indefinite) {
    constexpr const char* kRoutine = "[AsnContentSize::ReadContentSize]";
    if (!IsValid(cursor)) {
        throw BadAsnData(cursor, kRoutine);
    }
    const std::uint8_t first = *cursor.Current();
    cursor.Advance(1);
    *indefinite = first == kIndefinite ? 1 : 0;
    if (first == kIndefinite) {
        return 0;
    }
    if (first < kLongForm) {
        return first;
    }
    const std::int32_t count = first & kCountMask;
    if (cursor.RemainingSize() < count) {
        throw BadAsnData(cursor, kRoutine);
    }
    std::uint32_t size = 0;
    for (std::int32_t i = 0; i < count; ++i) {
        size = size << kOctetBits | *cursor.Current();
        cursor.Advance(1);
    }
    return size;
}

void AsnContentSize::Serialize(BlobCursor& cursor) const {
    constexpr const char* kRoutine = "[AsnContentSize::Serialize]";
    if (!IsValid(cursor)) {
        throw NotEnoughMemoryForAsnBlob(kRoutine);
    }
    if (indefinite == 1) {
        Put(cursor, kIndefinite);
        return;
    }
    if (size <= kLargestShort) {
        Put(cursor, size);
        return;
    }
    const std::uint32_t count = OctetCount(size);
    if (cursor.RemainingSize() < static_cast<std::int32_t>(count + 1)) {
        throw NotEnoughMemoryForAsnBlob(kRoutine);
    }
    Put(cursor, kLongForm | count);
    for (std::uint32_t left = count; left > 0; --left) {
        Put(cursor, size >> (kOctetBits * (left - 1)));
    }
}

std::uint32_t EncodedLengthSize(const AsnContentSize& contentSize) {
    if (contentSize.indefinite == 1 || contentSize.size <= kLargestShort) {
        return 1;
    }
    return 1 + OctetCount(contentSize.size);
}

}  // namespace pkisdk::asn
