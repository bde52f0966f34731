#include "support/failing_allocator.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allocationsLeft = 0;

void* Allocate(std::size_t size) {
    if (allocationsLeft != 0 && --allocationsLeft == 0) {
        throw std::bad_alloc();
    }
    void* memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
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

}  // namespace allocation

void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
