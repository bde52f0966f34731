// A DER document as a flat list of nodes in document order, nesting held in their depths alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <span>
#include <vector>

#include "derlist/der_node.h"
#include "foundation/blob.h"

namespace pkisdk {

// Owns its nodes; a copy is deep. The first node has depth 0, and none lies more than one level
// below the node before it; what would break that is refused. So the descendants of a node follow
// it directly and end at the first node that is not deeper.
//
// Whoever looks finds in every `contentLength` all that has been appended so far. References and
// iterators stay valid while their node is in the list, but one taken before an append shows the
// lengths of that time until begin(), end() or a copy is asked for again. A list is used by one
// thread at a time, looking included.
class DerList {
  public:
    using value_type = DerNode;
    using const_reference = const DerNode&;
    using const_iterator = std::list<DerNode>::const_iterator;
    using iterator = const_iterator;
    using difference_type = std::list<DerNode>::difference_type;
    using size_type = std::list<DerNode>::size_type;

    DerList() = default;
    DerList(const DerList& other);
    DerList(DerList&& other) noexcept;
    DerList& operator=(DerList other) noexcept;
    ~DerList() = default;

    bool empty() const { return nodes_.empty(); }
    size_type size() const { return nodes_.size(); }
    const_iterator begin() const;
    const_iterator end() const;
    // The last node, which must exist.
    const DerNode& back() const { return nodes_.back(); }

    void clear();

    // Adds `node` at the end. Its `contentLength` becomes the size of its `content`, and those of
    // its ancestors grow by its encoded size. False, and nothing done, for a depth that is
    // negative, more than one below the last node, or other than 0 in an empty list. Costs a
    // constant, taken over many appends.
    bool Append(DerNode node);
    // The same, but the node keeps `indefinite`, `offset`, `scopeLength` and `scopeStart`, which
    // Append sets to 0.
    bool Reinsert(DerNode node);
    // The same, but the node keeps all its fields and no other node changes: for the parser, whose
    // lengths are those of the document.
    bool AppendAsRead(DerNode node);
    // The same, with a copy of `content` as the node's.
    bool AppendAsRead(const DerNode& node, std::span<const std::uint8_t> content);

    // What Reinsert of node after node into an empty list gives, in one pass.
    void ReinsertAll();
    // What Append of every node but the last into an empty list gives; an empty list stays as it
    // is. It cannot fail, since the start of a list is a list. Linear the first time after nodes
    // came in by another way than Append, else a constant and a look back for the ancestors of the
    // new last node.
    void DropLast();

  private:
    struct OpenNode {
        DerNode* node;
        // How much of the node's encoded size its parent's contentLength holds already.
        std::uint32_t counted;
    };

    bool Fits(std::int32_t depth) const;
    bool Adopt(std::list<DerNode>* record);
    void FindOpenNodes();
    void CloseScopes(std::size_t depth);
    void PropagateLengths() const;
    void swap(DerList& other) noexcept;

    std::list<DerNode> nodes_;
    // The ancestors of the last node and itself, root first, one for each depth; or as many of
    // them from the root as are known. A length is passed up when its node closes or when somebody
    // looks, so that a deep list is not walked up at each append.
    mutable std::vector<OpenNode> open_;
    mutable bool propagated_ = true;
    // Every node stands as Append leaves it.
    bool onlyAppended_ = true;
};

// DerList::Append and DerList::Reinsert. Answer 1, or 0 when `list` is null or refuses. `position`
// is not used: a node always goes to the end.
std::int32_t AppendDerNode(std::int32_t position, DerNode node, DerList* list);
std::int32_t ReinsertDerNode(std::int32_t position, DerNode node, DerList* list);

// Writes header and content of the node at `node` behind what `out` holds and moves on to the next
// node. A list written node after node is the document. A null `out` does nothing at all.
void WriteDerNode(DerList::const_iterator& node, Blob* out);

}  // namespace pkisdk
