// The C heap of a program, for code that takes a block from calloc and gives it to free. The linker
// sends both here from a target that names them with mvlpfx_watch_c_heap.
#pragma once

#include <cstddef>
#include <vector>

namespace test_support {

class CHeap {
  public:
    static CHeap& Get();

    // Forgets what was seen, but for the blocks that are in use.
    void Reset();
    // While on, calloc answers null.
    void FailCalloc(bool isOn) { isFailing_ = isOn; }
    // While on, keeps what the last block from calloc holds as it is freed.
    void WatchFree(bool isOn) { isWatching_ = isOn; }
    // Empty where none was freed while watched.
    const std::vector<unsigned char>& Freed() const { return freed_; }
    // Blocks from calloc that were not freed.
    std::size_t OpenBlocks() const { return open_.size(); }

    // For the stand-ins themselves.
    void* Allocate(std::size_t count, std::size_t size);
    void Free(void* block);

  private:
    bool isFailing_ = false;
    bool isWatching_ = false;
    std::vector<unsigned char> freed_;
    struct Block {
        void* start;
        std::size_t size;
    };
    // From the oldest on.
    std::vector<Block> open_;
};

}  // namespace test_support
