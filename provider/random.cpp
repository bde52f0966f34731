#include "provider/random.h"

#include <gcrypt.h>

namespace provider {

namespace {

// The library is the process's: what its other users set up holds, and only where there are none it
// is set up here, without the messages to the standard error stream that it would write.
bool SetUpLibrary() {
    if (gcry_control(GCRYCTL_ANY_INITIALIZATION_P) != 0) {
        return true;
    }
    constexpr int kSecureMemorySize = 32768;
    gcry_control(GCRYCTL_DISABLE_PRIV_DROP);
    gcry_check_version(nullptr);
    gcry_control(GCRYCTL_SUSPEND_SECMEM_WARN);
    gcry_control(GCRYCTL_INIT_SECMEM, kSecureMemorySize, 0);
    gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    return true;
}

}  // namespace

void FillRandom(std::span<BYTE> bytes) {
    static const bool isSetUp = SetUpLibrary();
    static_cast<void>(isSetUp);
    gcry_randomize(bytes.data(), bytes.size(), GCRY_STRONG_RANDOM);
}

}  // namespace provider
