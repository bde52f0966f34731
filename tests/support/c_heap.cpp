#include "support/c_heap.h"

#include <algorithm>

extern "C" {
void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* block);

__attribute__((visibility("default"))) void* __wrap_calloc(std::size_t count, std::size_t size) {
    return test_support::CHeap::Get().Allocate(count, size);
}

__attribute__((visibility("default"))) void __wrap_free(void* block) {
    test_support::CHeap::Get().Free(block);
}
}

namespace test_support {

// Never destroyed: there are blocks to free after all else is gone.
CHeap& CHeap::Get() {
    static CHeap& heap = *new CHeap;
    return heap;
}

void CHeap::Reset() {
    isFailing_ = false;
    isWatching_ = false;
    freed_.clear();
}

void* CHeap::Allocate(std::size_t count, std::size_t size) {
    void* const block = isFailing_ ? nullptr : __real_calloc(count, size);
    if (block != nullptr) {
        open_.push_back({block, count * size});
    }
    return block;
}

void CHeap::Free(void* block) {
    const auto found = std::find_if(open_.begin(), open_.end(),
                                    [block](const Block& one) { return one.start == block; });
    if (found != open_.end()) {
        if (isWatching_ && found + 1 == open_.end()) {
            const auto* const octets = static_cast<const unsigned char*>(block);
            freed_.assign(octets, octets + found->size);
        }
        open_.erase(found);
    }
    __real_free(block);
}

}  // namespace test_support
