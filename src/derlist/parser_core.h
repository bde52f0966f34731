// The parser's work, whatever keeps the nodes that it reads. How it reads is told in der_parser.h.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

#include "derlist/der_header.h"
#include "derlist/der_node.h"
#include "derlist/element_runs.h"

namespace pkisdk {

// Reads `document` into `List`, which takes the nodes one by one: `AppendAsRead(node, content)`,
// and `ReinsertAll()` where the lengths of the source don't count.
template <typename List>
class DerParser {
  public:
    DerParser(std::span<const std::uint8_t> document, List* out);
    std::int32_t Run();

  private:
    static constexpr std::uint8_t kBitString = 0x03;
    static constexpr std::uint8_t kOctetString = 0x04;
    static constexpr std::uint8_t kNull = 0x05;
    static constexpr std::uint8_t kFirstNonPrimitive = 0x20;

    // A node that may still get children, and how much of it those read so far fill.
    struct OpenScope {
        std::uint32_t length;
        std::uint32_t start;
        std::uint32_t filled;
        bool bitString;

        // The unused-bits byte of a BIT STRING is no child of it.
        bool IsFull() const { return filled == length || (bitString && filled + 1 == length); }
    };

    std::uint32_t Size() const { return static_cast<std::uint32_t>(document_.size()); }
    bool ZeroAt(std::uint32_t at) const { return at < Size() && document_[at] == 0; }
    bool ReadElement();
    void AddParent();
    void AddLeaf();
    void Add(std::span<const std::uint8_t> content);
    void FindOpenScope();

    std::span<const std::uint8_t> document_;
    ElementRuns runs_;
    List* out_;
    // The first node, and below it the scopes around the element read next, each at its depth.
    std::vector<OpenScope> scopes_;
    // What one element leaves to the next: depth, offset, scope.
    DerNode node_;
    std::uint32_t cursor_ = 0;
    bool sawIndefinite_ = false;
};

template <typename List>
DerParser<List>::DerParser(std::span<const std::uint8_t> document, List* out)
    : document_(document), runs_(document), out_(out) {
    node_.scopeLength = Size();
}

template <typename List>
std::int32_t DerParser<List>::Run() {
    for (;;) {
        while (ZeroAt(cursor_) && ZeroAt(cursor_ + 1)) {
            cursor_ += 2;
        }
        if (cursor_ == Size()) {
            break;
        }
        if (!ReadElement()) {
            return 0;
        }
    }
    if (sawIndefinite_) {
        out_->ReinsertAll();
    }
    return 1;
}

template <typename List>
bool DerParser<List>::ReadElement() {
    if (ReadDerHeader(document_, &cursor_, &node_) == 0 || node_.contentLength > Size() - cursor_ ||
        (node_.tag == kNull && node_.contentLength != 0)) {
        return false;
    }
    sawIndefinite_ = sawIndefinite_ || node_.indefinite != 0;
    const bool mayOpen =
        node_.tag == kBitString || node_.tag == kOctetString || node_.tag >= kFirstNonPrimitive;
    if (mayOpen && runs_.LooksLikeDer(cursor_, node_.contentLength)) {
        AddParent();
    } else {
        AddLeaf();
    }
    return true;
}

template <typename List>
void DerParser<List>::AddParent() {
    static constexpr std::uint8_t kNoUnusedBits[] = {0};
    const bool isKept = node_.tag == kBitString && node_.contentLength > 2;
    Add({kNoUnusedBits, isKept ? sizeof kNoUnusedBits : 0});
    if (node_.depth != 0) {
        scopes_.push_back({node_.contentLength, node_.offset, 0, node_.tag == kBitString});
    }
    node_.scopeLength = node_.contentLength;
    node_.scopeStart = node_.offset;
    ++node_.depth;
}

template <typename List>
void DerParser<List>::AddLeaf() {
    Add(document_.subspan(cursor_, node_.contentLength));
    cursor_ += node_.contentLength;
    while (ZeroAt(cursor_)) {
        ++cursor_;
    }
    FindOpenScope();
}

template <typename List>
void DerParser<List>::Add(std::span<const std::uint8_t> content) {
    if (scopes_.empty()) {
        // The first node is never full: it takes in all that the document has.
        scopes_.push_back({Size(), node_.offset, 0, false});
    } else {
        scopes_.back().filled += EncodedNodeSize(node_);
    }
    if (!out_->AppendAsRead(node_, content)) {
        throw std::length_error("list<T> too long");
    }
}

// Sets depth and scope for what follows a leaf: the innermost scope that has room.
template <typename List>
void DerParser<List>::FindOpenScope() {
    while (scopes_.size() > 1 && scopes_.back().IsFull()) {
        scopes_.pop_back();
    }
    node_.scopeLength = scopes_.back().length;
    node_.scopeStart = scopes_.back().start;
    node_.depth = static_cast<std::int32_t>(scopes_.size());
}

}  // namespace pkisdk
