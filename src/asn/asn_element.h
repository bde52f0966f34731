// One element as it lies in a blob: found by its header, with nothing read of its content.
#pragma once

#include <cstdint>
#include <optional>

#include "asn/asn_object_header.h"
#include "foundation/blob_cursor.h"

namespace pkisdk::asn {

inline constexpr std::int32_t kEndOfContentsSize = 2;

// Where the nearest enclosing element of definite length ends, counted in octets of the blob; none
// if every enclosing element is indefinite.
using AsnLimit = std::optional<std::uint64_t>;

struct AsnElement {
    // Reads the header at the cursor and moves it to the content, or, in an indefinite element that
    // is empty, behind its end-of-contents octets. Throws BadAsnData where the header ends, and for
    // a definite element that passes the end of the blob or the limit. A length whose top bit is
    // set counts as negative and passes the blob's end unnoticed, so that whoever comes to touch
    // the content must look again.
    AsnElement(BlobCursor& cursor, const AsnLimit& limit);

    bool IsIndefinite() const { return header.contentSize.indefinite == 1; }
    // Whether the size of the content is known only once its elements have been walked.
    bool NeedsMeasuring() const { return IsIndefinite() && hasContent; }

    AsnObjectHeader header;
    std::int32_t offset;
    std::int32_t contentPosition;
    bool hasContent;

  private:
    void CheckContentSize(IBlob& blob, const AsnLimit& limit) const;
};

// The cursor behind an element of `blob` whose content has `size` octets. Behind an indefinite one
// lie two octets more, also where it is empty and its end-of-contents octets are passed already.
// Throws BadAsnData where the element passes the end of the blob.
BlobCursor CursorBehind(IBlob& blob, const AsnElement& element, std::uint32_t size);

// Whether the octets at the cursor end the content of an indefinite element.
bool IsAtEndOfContents(const BlobCursor& cursor);

}  // namespace pkisdk::asn
