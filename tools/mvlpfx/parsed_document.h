// A document's elements as a tree, with places in it.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "derlist/der_list.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/node_tree.h"

namespace mvlpfx {

// What could be read of the bytes, DER or text of it.
struct ParsedDocument {
    explicit ParsedDocument(std::span<const std::uint8_t> bytes);
    ParsedDocument(const ParsedDocument&) = delete;
    ParsedDocument& operator=(const ParsedDocument&) = delete;

    pkisdk::DerList list;
    bool isWhole;
    NodeTree tree;
};

// The node's place, by the names of the syntax.
DocumentPlace PlaceOf(const NodeTree& tree, std::size_t node, std::string found);

}  // namespace mvlpfx
