// Memory for keys and for the states of hashes over them.
#pragma once

#include <cstddef>

namespace provider {

// Zeroed pages that stay out of core files and, as far as the process's limit allows, out of swap.
// They are never given back. Null where there is no memory.
void* AllocateSecretPages(std::size_t size) noexcept;

// The same for memory that is there: the whole pages that `memory` begins in and `size` octets.
void GuardSecretMemory(void* memory, std::size_t size) noexcept;

}  // namespace provider
