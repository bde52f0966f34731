#include "provider/secret_memory.h"

#include <sys/mman.h>

namespace provider {

void* AllocateSecretPages(std::size_t size) noexcept {
    void* const pages =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        return nullptr;
    }
    // Neither failure is a reason to refuse: the pages are wiped on release all the same.
    static_cast<void>(mlock(pages, size));
    static_cast<void>(madvise(pages, size, MADV_DONTDUMP));
    return pages;
}

}  // namespace provider
