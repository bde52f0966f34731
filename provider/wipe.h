// Overwriting of secrets.
#pragma once

#include <cstddef>
#include <cstring>

namespace provider {

// Zeros that the compiler may not leave out because nobody reads them.
inline void Wipe(void* bytes, std::size_t size) {
    std::memset(bytes, 0, size);
    asm volatile("" : : "r"(bytes) : "memory");
}

}  // namespace provider
