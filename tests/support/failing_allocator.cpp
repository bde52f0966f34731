#include "support/failing_allocator.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allocationsLeft = 0;
thread_local long liveBlocks = 0;

void* Allocate(std::size_t size) {
    if (allocationsLeft != 0 && --allocationsLeft == 0) {
        throw std::bad_alloc();
    }
    void* memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    ++liveBlocks;
    return memory;
}

void Free(void* memory) {
    liveBlocks -= memory != nullptr ? 1 : 0;
    std::free(memory);
}

}  // namespace

namespace allocation {

FailOne::FailOne(std::size_t number) {
    allocationsLeft = number;
}

FailOne::~FailOne() {
    allocationsLeft = 0;
}

bool FailOne::Happened() const {
    return allocationsLeft == 0;
}

long LiveBlocks() {
    return liveBlocks;
}

}  // namespace allocation

void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void operator delete(void* memory) noexcept {
    Free(memory);
}
void operator delete[](void* memory) noexcept {
    Free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    Free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    Free(memory);
}
