#include "support/memory_search.h"

#include <algorithm>
#include <cstring>

#include "support/readable_memory.h"

namespace test_support {

namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;

void Wipe(std::vector<BYTE>* octets) {
    std::memset(octets->data(), 0, octets->size());
    asm volatile("" : : "r"(octets->data()) : "memory");
}

}  // namespace

Sought::Sought(std::vector<BYTE> inverted) {
    for (int order = 0; order < 2; ++order) {
        const auto middle = inverted.begin() + static_cast<std::ptrdiff_t>(inverted.size() / 2);
        needles_.emplace_back(inverted.begin(), middle);
        needles_.emplace_back(middle, inverted.end());
        std::reverse(inverted.begin(), inverted.end());
    }
    // The loader binds a function of a library at its first call, and saves the registers on the
    // stack for that, with what a copy has left in them. So there is a search before any secret.
    [[maybe_unused]] static const bool isBound = (IsInMemory(), true);
}

bool Sought::IsIn(std::span<const BYTE> octets) const {
    for (const std::vector<BYTE>& needle : needles_) {
        const auto first = static_cast<BYTE>(~needle[0]);
        std::span<const BYTE> rest = octets;
        while (rest.size() >= needle.size()) {
            // The library's own, which is many times as fast as a loop under a sanitizer.
            const void* const at = std::memchr(rest.data(), first, rest.size() - needle.size() + 1);
            if (at == nullptr) {
                break;
            }
            rest =
                rest.subspan(static_cast<std::size_t>(static_cast<const BYTE*>(at) - rest.data()));
            if (std::equal(needle.begin(), needle.end(), rest.begin(),
                           [](BYTE sought, BYTE found) { return (sought ^ found) == 0xFF; })) {
                return true;
            }
            rest = rest.subspan(1);
        }
    }
    return false;
}

bool Sought::IsInMemory() const {
    const std::size_t overlap = needles_[0].size();
    std::vector<BYTE> chunk(kChunk);
    bool isFound = false;
    for (const MemoryRange& range : ReadableMemory()) {
        for (std::size_t at = range.start; at < range.end && !isFound; at += kChunk - overlap) {
            const auto piece = std::span(chunk).first(std::min(kChunk, range.end - at));
            isFound = IsIn(piece.first(CopyMemoryAt(at, piece)));
            Wipe(&chunk);
        }
    }
    return isFound;
}

}  // namespace test_support
