#include "provider/library.h"

#include <gcrypt.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace provider {

namespace {

// Room for some dozens of signatures at once; when it is used up the library adds to it.
constexpr int kSecureMemorySize = 256 * 1024;

// The library locks its secure memory, but a core file would show it. The first block that it hands
// out lies at the start of the memory.
void KeepSecureMemoryOutOfCoreFiles() {
    void* const first = gcry_malloc_secure(1);
    if (first == nullptr) {
        return;
    }
    const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(first) & ~(pageSize - 1);
    static_cast<void>(
        madvise(reinterpret_cast<void*>(start), std::size_t{kSecureMemorySize}, MADV_DONTDUMP));
    gcry_free(first);
}

// The library is the process's: what its other users set up holds, and only where there are none it
// is set up here, without the messages to the standard error stream that it would write.
bool SetUp() {
    if (gcry_control(GCRYCTL_ANY_INITIALIZATION_P) != 0) {
        return true;
    }
    gcry_control(GCRYCTL_DISABLE_PRIV_DROP);
    gcry_check_version(nullptr);
    gcry_control(GCRYCTL_DISABLE_SECMEM_WARN);
    gcry_control(GCRYCTL_INIT_SECMEM, kSecureMemorySize, 0);
    gcry_control(GCRYCTL_AUTO_EXPAND_SECMEM, kSecureMemorySize, 0);
    KeepSecureMemoryOutOfCoreFiles();
    gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    return true;
}

}  // namespace

void SetUpLibrary() {
    static const bool isSetUp = SetUp();
    static_cast<void>(isSetUp);
}

}  // namespace provider
