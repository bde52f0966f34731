#include "mvlpfx/parsed_document.h"

#include <utility>

#include "derlist/der_parser.h"
#include "mvlpfx/document_syntax.h"

namespace mvlpfx {

ParsedDocument::ParsedDocument(std::span<const std::uint8_t> bytes)
    : isWhole(pkisdk::ParseDerList(bytes.data(), static_cast<std::int32_t>(bytes.size()), &list) !=
              0),
      tree(list) {}

DocumentPlace PlaceOf(const NodeTree& tree, std::size_t node, std::string found) {
    return {tree.Offset(node), PathOf(tree, node), std::move(found)};
}

}  // namespace mvlpfx
