#include "mvlpfx/node_tree.h"

#include "foundation/object_id.h"
#include "mvlpfx/der_tags.h"

namespace mvlpfx {

NodeTree::NodeTree(const pkisdk::DerList& list) {
    std::vector<std::size_t> latestAtDepth;
    for (const pkisdk::DerNode& node : list) {
        const std::size_t number = nodes_.size();
        const auto depth = static_cast<std::size_t>(node.depth);
        nodes_.push_back(&node);
        parent_.push_back(depth == 0 ? kNone : latestAtDepth[depth - 1]);
        firstChild_.push_back(kNone);
        nextSibling_.push_back(kNone);
        if (depth < latestAtDepth.size()) {
            nextSibling_[latestAtDepth[depth]] = number;
        } else if (depth > 0) {
            firstChild_[latestAtDepth[depth - 1]] = number;
        }
        latestAtDepth.resize(depth);
        latestAtDepth.push_back(number);
    }
}

std::size_t NodeTree::Child(std::size_t node, std::size_t index) const {
    std::size_t child = node < Size() ? firstChild_[node] : kNone;
    for (; child != kNone && index > 0; --index) {
        child = nextSibling_[child];
    }
    return child;
}

std::vector<std::size_t> NodeTree::Children(std::size_t node) const {
    std::vector<std::size_t> children;
    for (std::size_t child = Child(node, 0); child != kNone; child = nextSibling_[child]) {
        children.push_back(child);
    }
    return children;
}

std::size_t NodeTree::Parent(std::size_t node) const {
    return node < Size() ? parent_[node] : kNone;
}

std::size_t NodeTree::NextSibling(std::size_t node) const {
    return node < Size() ? nextSibling_[node] : kNone;
}

std::uint8_t NodeTree::Tag(std::size_t node) const {
    return node < Size() ? nodes_[node]->tag : 0;
}

std::uint32_t NodeTree::Offset(std::size_t node) const {
    return node < Size() ? nodes_[node]->offset : 0;
}

bool NodeTree::HasTag(std::size_t node, std::uint8_t tag) const {
    return node < Size() && nodes_[node]->tag == tag;
}

std::int32_t NodeTree::Depth(std::size_t node) const {
    return node < Size() ? nodes_[node]->depth : -1;
}

std::uint32_t NodeTree::Length(std::size_t node) const {
    return node < Size() ? nodes_[node]->contentLength : 0;
}

std::string NodeTree::Oid(std::size_t node) const {
    std::string text;
    if (HasTag(node, kObjectIdentifier)) {
        pkisdk::OidBlobToText(nodes_[node]->content, &text);
    }
    return text;
}

bool NodeTree::Number(std::size_t node, std::uint64_t* value) const {
    if (!HasTag(node, kInteger)) {
        return false;
    }
    const auto octets = nodes_[node]->content.Bytes();
    if (octets.empty() || octets.size() > sizeof *value) {
        return false;
    }
    *value = 0;
    for (const std::uint8_t octet : octets) {
        *value = *value << 8 | octet;
    }
    return true;
}

}  // namespace mvlpfx
