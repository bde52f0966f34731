// This process's memory, as the system shows it.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "platform/cryptoapi.h"

namespace test_support {

struct MemoryRange {
    std::size_t start;
    std::size_t end;
};

// What can be read, but for ranges of the sanitizers' own tables and the system's.
std::vector<MemoryRange> ReadableMemory();

// Copies from `address` into `out`, as far as it is still there. Answers how many octets.
std::size_t CopyMemoryAt(std::size_t address, std::span<BYTE> out);

}  // namespace test_support
