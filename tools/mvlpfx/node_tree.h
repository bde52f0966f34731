// A document's flat list, looked at as the tree it stands for.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "derlist/der_list.h"

namespace mvlpfx {

// Nodes are numbered as in the list; kNone is no node, and every question about it is answered
// as for a node that has not what is asked for. The list must outlive the tree.
class NodeTree {
  public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    explicit NodeTree(const pkisdk::DerList& list);

    std::size_t Size() const { return nodes_.size(); }
    // The first node.
    std::size_t Root() const { return nodes_.empty() ? kNone : 0; }
    std::size_t Last() const { return nodes_.empty() ? kNone : nodes_.size() - 1; }
    // The `index`-th child, counted from 0.
    std::size_t Child(std::size_t node, std::size_t index) const;
    std::vector<std::size_t> Children(std::size_t node) const;
    std::size_t Parent(std::size_t node) const;
    std::size_t NextSibling(std::size_t node) const;

    bool HasTag(std::size_t node, std::uint8_t tag) const;
    // 0 for no node.
    std::uint8_t Tag(std::size_t node) const;
    // Of the identifier octet, in bytes from the document's start; 0 for no node.
    std::uint32_t Offset(std::size_t node) const;
    std::int32_t Depth(std::size_t node) const;
    std::uint32_t Length(std::size_t node) const;
    // Dotted text of an OBJECT IDENTIFIER; empty for any other node.
    std::string Oid(std::size_t node) const;
    // Value of an INTEGER of 1 to 8 bytes, taken as unsigned; false for any other node.
    bool Number(std::size_t node, std::uint64_t* value) const;

  private:
    std::vector<const pkisdk::DerNode*> nodes_;
    std::vector<std::size_t> parent_;
    std::vector<std::size_t> firstChild_;
    std::vector<std::size_t> nextSibling_;
};

}  // namespace mvlpfx
