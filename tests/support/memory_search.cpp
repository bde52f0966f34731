#include "support/memory_search.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace test_support {

namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;
// The sanitizers' own tables are larger, and hold no data.
constexpr std::size_t kLargestMapping = std::size_t{1} << 32;

struct Mapping {
    std::size_t start;
    std::size_t end;
};

std::vector<Mapping> ReadableMappings() {
    std::ifstream maps("/proc/self/maps");
    std::vector<Mapping> found;
    for (std::string line; std::getline(maps, line);) {
        Mapping mapping{};
        char dash = 0;
        std::string rights;
        std::istringstream(line) >> std::hex >> mapping.start >> dash >> mapping.end >> rights;
        const bool isKernels = line.find("[v") != std::string::npos;
        if (rights.starts_with('r') && !isKernels &&
            mapping.end - mapping.start < kLargestMapping) {
            found.push_back(mapping);
        }
    }
    return found;
}

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
}

bool Sought::IsIn(std::span<const BYTE> octets) const {
    for (const std::vector<BYTE>& needle : needles_) {
        const auto first = static_cast<BYTE>(~needle[0]);
        for (auto at = octets.begin();;) {
            at = std::find(at, octets.end(), first);
            if (static_cast<std::size_t>(octets.end() - at) < needle.size()) {
                break;
            }
            const bool isThere =
                std::equal(needle.begin(), needle.end(), at,
                           [](BYTE sought, BYTE found) { return (sought ^ found) == 0xFF; });
            if (isThere) {
                return true;
            }
            ++at;
        }
    }
    return false;
}

bool Sought::IsInMemory() const {
    const std::size_t overlap = needles_[0].size();
    std::vector<BYTE> chunk(kChunk);
    const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    bool isFound = false;
    for (const Mapping& mapping : ReadableMappings()) {
        for (std::size_t at = mapping.start; at < mapping.end && !isFound; at += kChunk - overlap) {
            const std::size_t size = std::min(kChunk, mapping.end - at);
            const ssize_t got = pread(memory, chunk.data(), size, static_cast<off_t>(at));
            isFound = got > 0 && IsIn(std::span(chunk).first(static_cast<std::size_t>(got)));
            Wipe(&chunk);
        }
    }
    close(memory);
    return isFound;
}

}  // namespace test_support
