#include "asn/asn_element.h"

#include <algorithm>
#include <limits>

#include "asn/asn_cursor.h"
#include "foundation/asn_exceptions.h"

namespace pkisdk::asn {

namespace {

constexpr std::uint64_t kLastPosition = std::numeric_limits<std::int32_t>::max();

// Whether there is content. The end-of-contents octets of an empty indefinite element are taken.
bool TakeContent(BlobCursor& cursor, const AsnContentSize& contentSize) {
    if (contentSize.indefinite == 0) {
        return contentSize.size != 0;
    }
    if (!IsAtEndOfContents(cursor)) {
        return true;
    }
    cursor.Advance(kEndOfContentsSize);
    return false;
}

}  // namespace

AsnElement::AsnElement(BlobCursor& cursor, const AsnLimit& limit) : offset(cursor.position) {
    header = AsnObjectHeader(cursor);
    hasContent = TakeContent(cursor, header.contentSize);
    contentPosition = cursor.position;
    CheckContentSize(*cursor.blob, limit);
}

void AsnElement::CheckContentSize(IBlob& blob, const AsnLimit& limit) const {
    if (IsIndefinite()) {
        return;
    }
    const std::uint32_t size = header.contentSize.size;
    const BlobCursor content{&blob, contentPosition};
    if (content.RemainingSize() < static_cast<std::int32_t>(size)) {
        throw BadAsnData(CursorAt(blob, offset),
                         "[AsnObjectReadable::CheckContentSize] End of object is out of ASN BLOB.");
    }
    const std::uint64_t end = static_cast<std::uint64_t>(contentPosition) + size;
    if (limit.has_value() && *limit < end) {
        throw BadAsnData(CursorAt(blob, offset),
                         "[AsnObjectReadable::CheckContentSize] End of object is out of the parent "
                         "object with defined content length.");
    }
}

BlobCursor CursorBehind(IBlob& blob, const AsnElement& element, std::uint32_t size) {
    const std::uint64_t end = static_cast<std::uint64_t>(element.contentPosition) + size;
    const std::uint64_t last = std::min(blob.GetSize(), kLastPosition);
    if (!element.IsIndefinite() && end > last) {
        throw BadAsnData(CursorAt(blob, element.offset),
                         "[AsnChildIterator::Next] End of object is out of ASN BLOB.");
    }
    BlobCursor cursor{&blob, element.contentPosition};
    // A primitive element in the indefinite form measures minus 2.
    cursor.Advance(static_cast<std::int32_t>(size));
    if (element.IsIndefinite() && IsValid(cursor)) {
        cursor.Advance(kEndOfContentsSize);
    }
    return cursor;
}

bool IsAtEndOfContents(const BlobCursor& cursor) {
    return cursor.RemainingSize() >= kEndOfContentsSize && cursor.Current()[0] == 0 &&
           cursor.Current()[1] == 0;
}

}  // namespace pkisdk::asn
