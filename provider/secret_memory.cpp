#include "provider/secret_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace provider {

void* AllocateSecretPages(std::size_t size) noexcept {
    void* const pages =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        return nullptr;
    }
    GuardSecretMemory(pages, size);
    return pages;
}

// Neither failure is a reason to refuse: the memory is wiped on release all the same.
void GuardSecretMemory(void* memory, std::size_t size) noexcept {
    const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    void* const start =
        reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(memory) & ~(pageSize - 1));
    static_cast<void>(mlock(start, size));
    static_cast<void>(madvise(start, size, MADV_DONTDUMP));
}

}  // namespace provider
