// What stands ahead of the content of every element.
#pragma once

#include "asn/asn_content_size.h"
#include "asn/asn_identifier.h"

namespace pkisdk::asn {

struct AsnObjectHeader {
    AsnObjectHeader() = default;
    // Reads identifier and length octets at the cursor and moves it behind them. Throws BadAsnData
    // where they end, the cursor standing where that was found.
    explicit AsnObjectHeader(BlobCursor& cursor);

    AsnIdentifier identifier;
    AsnContentSize contentSize;
};

}  // namespace pkisdk::asn
