#include "support/readable_memory.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

namespace test_support {

namespace {

// The sanitizers' own tables are larger, and hold no data.
constexpr std::size_t kLargestRange = std::size_t{1} << 32;

int OpenMemory() {
    static const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    return memory;
}

}  // namespace

std::vector<MemoryRange> ReadableMemory() {
    std::ifstream maps("/proc/self/maps");
    std::vector<MemoryRange> found;
    for (std::string line; std::getline(maps, line);) {
        MemoryRange range{};
        char dash = 0;
        std::string rights;
        std::istringstream(line) >> std::hex >> range.start >> dash >> range.end >> rights;
        const bool isKernels = line.find("[v") != std::string::npos;
        if (rights.starts_with('r') && !isKernels && range.end - range.start < kLargestRange) {
            found.push_back(range);
        }
    }
    return found;
}

std::size_t CopyMemoryAt(std::size_t address, std::span<BYTE> out) {
    const ssize_t got = pread(OpenMemory(), out.data(), out.size(), static_cast<off_t>(address));
    return got < 0 ? 0 : static_cast<std::size_t>(got);
}

}  // namespace test_support
