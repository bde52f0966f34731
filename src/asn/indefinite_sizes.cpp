#include "asn/indefinite_sizes.h"

#include <optional>
#include <vector>

namespace pkisdk::asn {

namespace {

constexpr auto kSizeOfPrimitive = static_cast<std::uint32_t>(-kEndOfContentsSize);

}  // namespace

void IndefiniteSizes::Keep(const AsnElement& element, std::uint32_t size) {
    sizesByOffset_.insert_or_assign(element.offset, size);
}

// Elements nest as deep as the document likes, so those that are open lie on a stack of their own.
std::uint32_t IndefiniteSizes::Measure(IBlob& blob, const AsnElement& element,
                                       const AsnLimit& limit) {
    std::vector<AsnElement> open;
    std::optional<AsnElement> next = element;
    for (;;) {
        std::uint32_t size = next->header.contentSize.size;
        if (next->NeedsMeasuring()) {
            const auto known = sizesByOffset_.find(next->offset);
            if (known != sizesByOffset_.end()) {
                size = known->second;
            } else if (!next->header.identifier.IsConstructed()) {
                size = kSizeOfPrimitive;
            } else {
                open.push_back(*next);
                BlobCursor content{&blob, next->contentPosition};
                next.emplace(content, limit);
                continue;
            }
        }
        if (open.empty()) {
            return size;
        }
        BlobCursor behind = CursorBehind(blob, *next, size);
        if (IsAtEndOfContents(behind)) {
            next = open.back();
            open.pop_back();
            Keep(*next, static_cast<std::uint32_t>(behind.position - next->contentPosition));
        } else {
            next.emplace(behind, limit);
        }
    }
}

}  // namespace pkisdk::asn
