// Parts of a flat list found by position or by object identifier.
//
// A position is the index of a node among all nodes in document order, from 0. A query copies out:
// it flattens a node with its descendants and, where it answers a list, parses those bytes, which
// numbers depths and positions anew and may show more structure than the list had. All answer 1, or
// 0 and leave their output alone unless told otherwise. Sources of 0: nothing there, a null where
// one isn't allowed, bytes that don't parse.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "derlist/der_list.h"
#include "foundation/blob.h"

namespace pkisdk {

// The encoded bytes of the node at `index` and its descendants. An index below 0 is the first node.
std::int32_t ExtractSubtree(DerList list, std::int32_t index, Blob* out);
std::int32_t FlattenSubtree(const DerList& list, std::int32_t index, Blob* out);

// The same, parsed; `out` may hold what could be read when that fails.
std::int32_t ExtractSubtreeAsList(DerList list, std::uint32_t index, DerList* out);
std::int32_t ParseSubtree(const DerList& list, std::uint32_t index, DerList* out);

// The node that directly holds the first OBJECT IDENTIFIER (tag 0x06 exactly) equal to the dotted
// text `oid`, or that identifier itself when it is a root. With a null `out` the answer alone tells
// whether there is one. `out` may hold what could be read when parsing fails.
std::int32_t FindByOid(const DerList* list, const char* oid, DerList* out);
// The same for match number `occurrence`, counted from 1.
std::int32_t FindNthByOid(DerList* list, const char* oid, std::uint32_t occurrence, DerList* out);

// Goes through the matches that FindNthByOid numbers, in one pass over the list, which must outlive
// the cursor and not change. It starts before the first match.
class OidMatchCursor {
  public:
    // A null or bad `oid` matches nothing.
    OidMatchCursor(const DerList& list, const char* oid);

    // To the next match; false when there is none.
    bool MoveNext();
    // What FindNthByOid answers for the current match, which must exist.
    std::int32_t GetStructure(DerList* out) const;
    // The bytes that GetStructure reads.
    Blob GetStructureBytes() const;

  private:
    DerList::const_iterator next_;
    DerList::const_iterator end_;
    Blob octets_;
    // The last node passed and its ancestors, each at its depth.
    std::vector<DerList::const_iterator> path_;
};

// Dotted text of the first OBJECT IDENTIFIER.
std::int32_t GetFirstOidText(const DerList* list, std::string* text);

// Where AppendDerList puts the source; any other value is the depth of its root.
inline constexpr std::uint32_t DER_APPEND_AS_CHILD = 0xFFFFFFFF;    // under the last node
inline constexpr std::uint32_t DER_APPEND_AS_SIBLING = 0xFFFFFFFE;  // beside the last node

// Appends a copy of every node of `source`, lengths figured anew; to an empty target at depth 0
// whatever `mode` says. A node that is refused ends it with 0, and those before it stay.
std::int32_t AppendDerList(DerList* target, const DerList* source, std::uint32_t mode);
// The same for the list that `size` bytes at `data` parse to. If they don't, `target` is untouched.
std::int32_t AppendDerBytes(DerList* target, const std::uint8_t* data, std::uint32_t size,
                            std::uint32_t mode);

}  // namespace pkisdk
