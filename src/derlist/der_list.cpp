#include "derlist/der_list.h"

#include <array>
#include <utility>

#include "derlist/der_header.h"

namespace pkisdk {

namespace {

void ForgetSource(DerNode* node) {
    node->indefinite = 0;
    node->offset = 0;
    node->scopeLength = 0;
    node->scopeStart = 0;
}

}  // namespace

DerList::DerList(const DerList& other)
    : nodes_(other.begin(), other.end()), onlyAppended_(other.onlyAppended_) {}

DerList::DerList(DerList&& other) noexcept {
    swap(other);
}

DerList& DerList::operator=(DerList other) noexcept {
    swap(other);
    return *this;
}

void DerList::swap(DerList& other) noexcept {
    nodes_.swap(other.nodes_);
    open_.swap(other.open_);
    std::swap(propagated_, other.propagated_);
    std::swap(onlyAppended_, other.onlyAppended_);
}

DerList::const_iterator DerList::begin() const {
    PropagateLengths();
    return nodes_.begin();
}

DerList::const_iterator DerList::end() const {
    PropagateLengths();
    return nodes_.end();
}

void DerList::clear() {
    *this = DerList();
}

bool DerList::Append(DerNode node) {
    ForgetSource(&node);
    std::list<DerNode> record;
    record.push_back(std::move(node));
    return Adopt(&record);
}

bool DerList::Reinsert(DerNode node) {
    std::list<DerNode> record;
    record.push_back(std::move(node));
    if (!Adopt(&record)) {
        return false;
    }
    onlyAppended_ = false;
    return true;
}

bool DerList::AppendAsRead(DerNode node) {
    if (!Fits(node.depth)) {
        return false;
    }
    nodes_.push_back(std::move(node));
    PropagateLengths();
    open_.clear();
    onlyAppended_ = false;
    return true;
}

bool DerList::AppendAsRead(const DerNode& node, std::span<const std::uint8_t> content) {
    DerNode read = node;
    read.content.Assign(content.data(), content.size());
    return AppendAsRead(std::move(read));
}

void DerList::ReinsertAll() {
    DerList rebuilt;
    while (!nodes_.empty()) {
        std::list<DerNode> record;
        record.splice(record.end(), nodes_, nodes_.begin());
        rebuilt.Adopt(&record);
    }
    rebuilt.onlyAppended_ = onlyAppended_;
    *this = std::move(rebuilt);
}

void DerList::DropLast() {
    if (nodes_.empty()) {
        return;
    }
    if (!onlyAppended_) {
        for (DerNode& node : nodes_) {
            ForgetSource(&node);
        }
        ReinsertAll();
        onlyAppended_ = true;
    }
    FindOpenNodes();
    const OpenNode last = open_.back();
    open_.pop_back();
    if (!open_.empty()) {
        open_.back().node->contentLength -= last.counted;
        propagated_ = false;
    }
    nodes_.pop_back();
}

bool DerList::Fits(std::int32_t depth) const {
    if (depth < 0 || static_cast<std::int32_t>(nodes_.size()) < 0) {
        return false;
    }
    return nodes_.empty() ? depth == 0 : depth <= nodes_.back().depth + 1;
}

// Takes over the one node of `record`, or leaves it there.
bool DerList::Adopt(std::list<DerNode>* record) {
    DerNode& node = record->back();
    if (!Fits(node.depth)) {
        return false;
    }
    node.contentLength = static_cast<std::uint32_t>(node.content.GetSize());
    FindOpenNodes();
    CloseScopes(static_cast<std::size_t>(node.depth));
    // Throws only where no scope was closed, since a closed one leaves its room.
    open_.push_back({&node, 0});
    propagated_ = false;
    nodes_.splice(nodes_.end(), *record);
    return true;
}

// Completes open_ down to the last node. What it adds is closed, and so counted in full.
void DerList::FindOpenNodes() {
    if (nodes_.empty()) {
        return;
    }
    const std::size_t known = open_.size();
    std::size_t missing = static_cast<std::size_t>(nodes_.back().depth) + 1;
    open_.resize(missing);
    for (auto node = nodes_.rbegin(); missing > known; ++node) {
        if (static_cast<std::size_t>(node->depth) == missing - 1) {
            open_[--missing] = {&*node, EncodedNodeSize(*node)};
        }
    }
}

// Passes up, for good, the lengths of the open nodes at `depth` and below.
void DerList::CloseScopes(std::size_t depth) {
    while (open_.size() > depth) {
        const OpenNode closed = open_.back();
        open_.pop_back();
        if (!open_.empty()) {
            open_.back().node->contentLength += EncodedNodeSize(*closed.node) - closed.counted;
        }
    }
}

// Passes up the lengths of all open nodes, which stay open.
void DerList::PropagateLengths() const {
    if (propagated_) {
        return;
    }
    for (std::size_t depth = open_.size(); depth-- > 1;) {
        OpenNode& child = open_[depth];
        const std::uint32_t size = EncodedNodeSize(*child.node);
        open_[depth - 1].node->contentLength += size - child.counted;
        child.counted = size;
    }
    propagated_ = true;
}

std::int32_t AppendDerNode(std::int32_t, DerNode node, DerList* list) {
    return list != nullptr && list->Append(std::move(node)) ? 1 : 0;
}

std::int32_t ReinsertDerNode(std::int32_t, DerNode node, DerList* list) {
    return list != nullptr && list->Reinsert(std::move(node)) ? 1 : 0;
}

void WriteDerNode(DerList::const_iterator& node, Blob* out) {
    if (out == nullptr) {
        return;
    }
    std::array<std::uint8_t, 6> header;
    WriteDerHeader(node->tag, node->contentLength, header.data());
    out->Append(header.data(), HeaderSize(node->contentLength));
    out->Append(node->content.GetData(), node->content.GetSize());
    ++node;
}

}  // namespace pkisdk
