#include "derlist/der_queries.h"

#include <algorithm>
#include <utility>

#include "derlist/der_header.h"
#include "derlist/der_parser.h"
#include "foundation/object_id.h"

namespace pkisdk {

namespace {

constexpr std::uint8_t kObjectIdentifier = 0x06;

using Iterator = DerList::const_iterator;

// The sizes are added up first: what the lengths claim may be far more.
Blob Flatten(Iterator first, Iterator end) {
    const std::int32_t depth = first->depth;
    std::uint64_t size = 0;
    Iterator last = first;
    do {
        size += HeaderSize(last->contentLength) + last->content.GetSize();
        ++last;
    } while (last != end && last->depth > depth);

    Blob bytes(size);
    std::uint8_t* out = bytes.GetData();
    for (Iterator node = first; node != last; ++node) {
        out = WriteDerHeader(node->tag, node->contentLength, out);
        out = std::ranges::copy(node->content.Bytes(), out).out;
    }
    return bytes;
}

std::int32_t Parse(const Blob& bytes, DerList* out) {
    return ParseDerList(bytes.GetData(), static_cast<std::int32_t>(bytes.GetSize()), out);
}

std::uint32_t BaseDepth(const DerList& target, std::uint32_t mode) {
    if (target.empty()) {
        return 0;
    }
    const auto last = static_cast<std::uint32_t>(target.back().depth);
    if (mode == DER_APPEND_AS_CHILD) {
        return last + 1;
    }
    return mode == DER_APPEND_AS_SIBLING ? last : mode;
}

}  // namespace

std::int32_t ExtractSubtree(DerList list, std::int32_t index, Blob* out) {
    return FlattenSubtree(list, index, out);
}

std::int32_t FlattenSubtree(const DerList& list, std::int32_t index, Blob* out) {
    const std::size_t position = index > 0 ? static_cast<std::size_t>(index) : 0;
    if (out == nullptr || position >= list.size()) {
        return 0;
    }
    *out = Flatten(std::next(list.begin(), static_cast<std::ptrdiff_t>(position)), list.end());
    return 1;
}

std::int32_t ExtractSubtreeAsList(DerList list, std::uint32_t index, DerList* out) {
    return ParseSubtree(list, index, out);
}

std::int32_t ParseSubtree(const DerList& list, std::uint32_t index, DerList* out) {
    Blob bytes;
    return FlattenSubtree(list, static_cast<std::int32_t>(index), &bytes) != 0 ? Parse(bytes, out)
                                                                               : 0;
}

std::int32_t FindByOid(const DerList* list, const char* oid, DerList* out) {
    if (list == nullptr) {
        return 0;
    }
    OidMatchCursor match(*list, oid);
    return match.MoveNext() ? match.GetStructure(out) : 0;
}

std::int32_t FindNthByOid(DerList* list, const char* oid, std::uint32_t occurrence, DerList* out) {
    if (list == nullptr || occurrence == 0) {
        return 0;
    }
    OidMatchCursor match(*list, oid);
    for (std::uint32_t i = 0; i < occurrence; ++i) {
        if (!match.MoveNext()) {
            return 0;
        }
    }
    return match.GetStructure(out);
}

OidMatchCursor::OidMatchCursor(const DerList& list, const char* oid)
    : next_(list.begin()), end_(list.end()) {
    if (oid == nullptr || OidTextToBlob(oid, &octets_) == 0) {
        next_ = end_;
    }
}

bool OidMatchCursor::MoveNext() {
    while (next_ != end_) {
        const Iterator node = next_++;
        path_.resize(static_cast<std::size_t>(node->depth));
        path_.push_back(node);
        if (node->tag == kObjectIdentifier && node->content == octets_) {
            return true;
        }
    }
    return false;
}

std::int32_t OidMatchCursor::GetStructure(DerList* out) const {
    return out == nullptr ? 1 : Parse(GetStructureBytes(), out);
}

Blob OidMatchCursor::GetStructureBytes() const {
    const Iterator holder = path_.size() > 1 ? path_[path_.size() - 2] : path_.back();
    return Flatten(holder, end_);
}

std::int32_t GetFirstOidText(const DerList* list, std::string* text) {
    if (list == nullptr || text == nullptr) {
        return 0;
    }
    const auto found = std::find_if(list->begin(), list->end(), [](const DerNode& node) {
        return node.tag == kObjectIdentifier;
    });
    return found != list->end() ? OidBlobToText(found->content, text) : 0;
}

std::int32_t AppendDerList(DerList* target, const DerList* source, std::uint32_t mode) {
    if (target == nullptr || source == nullptr) {
        return 0;
    }
    const std::uint32_t base = BaseDepth(*target, mode);
    // By count, since the source may be the target.
    auto node = source->begin();
    for (std::size_t left = source->size(); left != 0; --left, ++node) {
        DerNode copy;
        copy.depth = static_cast<std::int32_t>(base + static_cast<std::uint32_t>(node->depth));
        copy.tag = node->tag;
        copy.content = node->content;
        if (AppendDerNode(-1, std::move(copy), target) == 0) {
            return 0;
        }
    }
    return 1;
}

std::int32_t AppendDerBytes(DerList* target, const std::uint8_t* data, std::uint32_t size,
                            std::uint32_t mode) {
    DerList source;
    return ParseDerList(data, static_cast<std::int32_t>(size), &source) != 0
               ? AppendDerList(target, &source, mode)
               : 0;
}

}  // namespace pkisdk
