#include "derlist/der_spans.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "derlist/der_header.h"
#include "derlist/parser_core.h"
#include "derlist/text_armour.h"
#include "foundation/object_id.h"

namespace pkisdk {

namespace {

constexpr std::uint8_t kObjectIdentifier = 0x06;

// What the node's own header and content take, whatever length it claims.
std::size_t WrittenSize(const DerSpan& node) {
    return HeaderSize(node.contentLength) + node.content.size();
}

// The same with all that is under the node.
std::size_t EncodedSize(const DerSpan& node) {
    return std::size_t{HeaderSize(node.contentLength)} + node.contentLength;
}

std::uint8_t* Write(const DerSpan& node, std::uint8_t* out) {
    return std::ranges::copy(node.content, WriteDerHeader(node.tag, node.contentLength, out)).out;
}

Blob WriteAll(std::span<const DerSpan> nodes) {
    std::size_t size = 0;
    for (const DerSpan& node : nodes) {
        size += WrittenSize(node);
    }
    Blob bytes(size);
    std::uint8_t* out = bytes.GetData();
    for (const DerSpan& node : nodes) {
        out = Write(node, out);
    }
    return bytes;
}

// The node at `index` and all that is under it.
std::span<const DerSpan> Subtree(std::span<const DerSpan> nodes, std::size_t index) {
    const std::int32_t depth = nodes[index].depth;
    const auto first = nodes.begin() + static_cast<std::ptrdiff_t>(index);
    return {first, std::find_if(std::next(first), nodes.end(),
                                [depth](const DerSpan& node) { return node.depth <= depth; })};
}

// The nearest node above, or the node itself at the top.
std::size_t HolderOf(std::span<const DerSpan> nodes, std::size_t index) {
    const std::int32_t depth = nodes[index].depth;
    std::size_t holder = index;
    while (holder > 0 && nodes[holder].depth >= depth) {
        --holder;
    }
    return holder;
}

}  // namespace

bool DerSpans::Parse(Blob bytes) {
    nodes_.clear();
    bytes_ = std::move(bytes);
    if (bytes_.IsEmpty()) {
        return true;
    }
    Blob decoded;
    if (DecodeArmour(bytes_.Bytes(), &decoded) == ArmourKind::kText) {
        bytes_ = std::move(decoded);
    }
    return DerParser(bytes_.Bytes(), this).Run() != 0;
}

bool DerSpans::Flatten(std::size_t index, Blob* out) const {
    if (index >= nodes_.size()) {
        return false;
    }
    *out = WriteAll(Subtree(nodes_, index));
    return true;
}

bool DerSpans::FindByOid(const char* oid, DerSpans* out) const {
    const auto structure = FindStructure(oid);
    return !structure.empty() && out->Parse(WriteAll(structure));
}

bool DerSpans::FlattenInStructure(const char* oid, std::size_t index, Blob* out) const {
    const auto structure = FindStructure(oid);
    if (!AreAsWritten(structure)) {
        DerSpans read;
        return FindByOid(oid, &read) && read.Flatten(index, out);
    }
    if (index >= structure.size()) {
        return false;
    }
    *out = WriteAll(Subtree(structure, index));
    return true;
}

// The holder of the identifier with all that is under it; empty where there is none.
std::span<const DerSpan> DerSpans::FindStructure(const char* oid) const {
    Blob octets;
    if (OidTextToBlob(oid, &octets) == 0) {
        return {};
    }
    const auto wanted = octets.Bytes();
    const auto found = std::ranges::find_if(nodes_, [wanted](const DerSpan& node) {
        return node.tag == kObjectIdentifier && std::ranges::equal(node.content, wanted);
    });
    if (found == nodes_.end()) {
        return {};
    }
    return Subtree(nodes_, HolderOf(nodes_, static_cast<std::size_t>(found - nodes_.begin())));
}

// Whether the element of `nodes`, a node with all that is under it, stands in the document just as
// it would be written: one node right behind the other, each header in its shortest form. Then it
// reads alone as it read there, since what is opened and which scope is full hang on its bytes
// only; and it is no text, since an OBJECT IDENTIFIER is in it. Lengths that were added up anew are
// then those that were read.
bool DerSpans::AreAsWritten(std::span<const DerSpan> nodes) const {
    if (nodes.empty()) {
        return false;
    }
    const DerSpan& first = nodes.front();
    std::size_t end = first.offset;
    for (const DerSpan& node : nodes) {
        if (node.offset != end || !HasShortestHeader(node)) {
            return false;
        }
        end += WrittenSize(node);
    }
    return end - first.offset == EncodedSize(first);
}

bool DerSpans::HasShortestHeader(const DerSpan& node) const {
    std::array<std::uint8_t, 6> header;
    const auto size = WriteDerHeader(node.tag, node.contentLength, header.data()) - header.data();
    const auto left = bytes_.Bytes().subspan(node.offset);
    return std::ssize(left) >= size &&
           std::equal(header.begin(), header.begin() + size, left.begin());
}

bool DerSpans::AppendAsRead(const DerNode& node, std::span<const std::uint8_t> content) {
    const bool fits = nodes_.empty() ? node.depth == 0 : node.depth <= nodes_.back().depth + 1;
    if (!fits || static_cast<std::int32_t>(nodes_.size()) < 0) {
        return false;
    }
    nodes_.push_back({node.depth, node.tag, node.contentLength, node.offset, content});
    return true;
}

// From the last node to the first, so that each length is there before it counts in the one above.
void DerSpans::ReinsertAll() {
    // At each depth, what the nodes passed there take that have not met their parent.
    std::vector<std::uint32_t> taken;
    for (auto node = nodes_.rbegin(); node != nodes_.rend(); ++node) {
        const auto depth = static_cast<std::size_t>(node->depth);
        taken.resize(std::max(taken.size(), depth + 2));
        node->contentLength =
            static_cast<std::uint32_t>(node->content.size()) + std::exchange(taken[depth + 1], 0);
        taken[depth] += HeaderSize(node->contentLength) + node->contentLength;
    }
}

}  // namespace pkisdk
