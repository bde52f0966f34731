#include "support/readable_memory.h"

namespace test_support {

std::vector<MemoryRange> ReadableMemory() {
    constexpr DWORD kUnreadable = PAGE_NOACCESS | PAGE_GUARD | PAGE_EXECUTE;
    std::vector<MemoryRange> found;
    MEMORY_BASIC_INFORMATION range{};
    for (std::size_t at = 0;
         VirtualQuery(reinterpret_cast<const void*>(at), &range, sizeof(range)) == sizeof(range);
         at += range.RegionSize) {
        if (range.State == MEM_COMMIT && (range.Protect & kUnreadable) == 0) {
            found.push_back({at, at + range.RegionSize});
        }
    }
    return found;
}

std::size_t CopyMemoryAt(std::size_t address, std::span<BYTE> out) {
    SIZE_T got = 0;
    ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(address), out.data(),
                      out.size(), &got);
    return got;
}

}  // namespace test_support
