// One element of a document as the flat list holds it.
#pragma once

#include <cstdint>

#include "foundation/blob.h"

namespace pkisdk {

// All lengths and offsets are in bytes and wrap at 32 bits.
struct DerNode {
    // Nesting: 0 for a root, a child has its parent's depth + 1.
    std::int32_t depth = 0;
    // The identifier octet as it stands in the document, class and constructed bit included.
    std::uint8_t tag = 0;
    // The value's own bytes: all of a leaf's value, and what comes before the children of a node
    // that has some.
    Blob content;
    // 1 when the length octet was 0x80, else 0.
    std::uint32_t indefinite = 0;
    // Length of the value: `content` and the children as they are encoded.
    std::uint32_t contentLength = 0;
    // What the parser knew when it read the element; 0 in a node that was built. `offset` is that
    // of the identifier octet in the document, `scopeLength` the length of the scope around the
    // element and `scopeStart` the offset of that scope's owner.
    std::uint32_t offset = 0;
    std::uint32_t scopeLength = 0;
    std::uint32_t scopeStart = 0;
};

// Identifier octet and minimal length octets, whatever form the source had.
constexpr std::uint32_t HeaderSize(std::uint32_t contentLength) {
    if (contentLength < 0x80) {
        return 2;
    }
    if (contentLength < 0x100) {
        return 3;
    }
    if (contentLength < 0x10000) {
        return 4;
    }
    return contentLength < 0x1000000 ? 5 : 6;
}

// Header and value.
constexpr std::uint32_t EncodedNodeSize(const DerNode& node) {
    return HeaderSize(node.contentLength) + node.contentLength;
}

}  // namespace pkisdk
