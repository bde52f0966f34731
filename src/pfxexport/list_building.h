// Nodes at the end of a list, as the writer of a document says them.
#pragma once

#include <cstdint>
#include <utility>

#include "derlist/der_list.h"
#include "foundation/object_id.h"
#include "pfxexport/export_constants.h"

namespace pkisdk {

// As AppendDerNode, a null `list` included; without content the node is a container.
inline void AppendNode(DerList* list, std::int32_t depth, std::uint8_t tag, Blob content = {}) {
    DerNode node;
    node.depth = depth;
    node.tag = tag;
    node.content = std::move(content);
    AppendDerNode(-1, std::move(node), list);
}

// `oid` is one of the identifiers of every document, as dotted text.
inline void AppendOid(DerList* list, std::int32_t depth, const char* oid) {
    ObjectId id;
    id.SetText(oid);
    AppendNode(list, depth, kObjectIdTag, id.GetOctets());
}

}  // namespace pkisdk
