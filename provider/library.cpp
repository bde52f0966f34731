#include "provider/library.h"

#include <gcrypt.h>

#include <cstdarg>
#include <cstddef>
#include <new>

#include "provider/secret_memory.h"

namespace provider {

namespace {

// Room for a thousand messages that are under way, or a hundred signatures at once. It is not let
// grow: what the library adds is ordinary memory, which is neither locked nor kept out of core
// files.
constexpr int kSecureMemorySize = 1024 * 1024;

// More than the secret numbers of one operation take.
constexpr std::size_t kRoomForOperation = 16 * 1024;

// The library locks its secure memory where the system lets it, and it is used all the same where
// it does not: many systems let a process lock next to nothing. But a core file would show it. The
// first block that it hands out lies at the start of the memory.
void KeepSecureMemoryOutOfCoreFiles() {
    void* const first = gcry_malloc_secure(1);
    if (first == nullptr) {
        return;
    }
    GuardSecretMemory(first, std::size_t{kSecureMemorySize});
    gcry_free(first);
}

// The library is the process's: what its other users set up holds, and only where there are none it
// is set up here. Either way without its warnings about memory, which it would write to the
// standard error stream, whoever's that is.
bool SetUp() {
#ifdef _WIN32
    // There it is linked in, and this provider alone uses it; it remarks on the system's settings.
    gcry_set_log_handler([](void*, int, const char*, std::va_list) {}, nullptr);
#endif
    const bool isSetUp = gcry_control(GCRYCTL_ANY_INITIALIZATION_P) != 0;
    if (!isSetUp) {
        gcry_control(GCRYCTL_DISABLE_PRIV_DROP);
        gcry_check_version(nullptr);
    }
    gcry_control(GCRYCTL_DISABLE_SECMEM_WARN);
    if (isSetUp) {
        return true;
    }
    gcry_control(GCRYCTL_INIT_SECMEM, kSecureMemorySize, 0);
    KeepSecureMemoryOutOfCoreFiles();
    gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    return true;
}

}  // namespace

void SetUpLibrary() {
    static const bool isSetUp = SetUp();
    static_cast<void>(isSetUp);
}

void RequireSecureMemory() {
    SetUpLibrary();
    void* const room = gcry_malloc_secure(kRoomForOperation);
    if (room == nullptr) {
        throw std::bad_alloc();
    }
    gcry_free(room);
}

void HashAtOnce(int libraryId, std::span<const BYTE> octets, std::span<BYTE> hash) {
    SetUpLibrary();
    gcry_buffer_t buffer{};
    buffer.data = const_cast<BYTE*>(octets.data());
    buffer.len = octets.size();
    if (gcry_md_hash_buffers(libraryId, 0, hash.data(), &buffer, 1) != 0) {
        throw std::bad_alloc();
    }
}

}  // namespace provider
