#include "asn/asn_object_header.h"

#include "foundation/asn_exceptions.h"

namespace pkisdk::asn {

namespace {

constexpr std::int32_t kShortestHeader = 2;

BlobCursor& WithRoomForHeader(BlobCursor& cursor) {
    if (cursor.RemainingSize() < kShortestHeader) {
        throw BadAsnData(cursor, "[AsnObjectHeader parsing]");
    }
    return cursor;
}

}  // namespace

AsnObjectHeader::AsnObjectHeader(BlobCursor& cursor) : identifier(WithRoomForHeader(cursor)) {
    contentSize.size = AsnContentSize::ReadContentSize(cursor, &contentSize.indefinite);
}

}  // namespace pkisdk::asn
