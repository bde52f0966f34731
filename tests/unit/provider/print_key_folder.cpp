// Prints the folder of the user's key containers.
#include <array>
#include <cstdio>

#include "csp.h"
#include "platform/csp_parameters.h"

// AddressSanitizer's leak check cannot trace a set-user-id process, which ignores its environment.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "detect_leaks=0";
}

int main() {
    std::array<char, 4096> path{};
    DWORD size = path.size();
    VTableProvStruc caller{};
    HCRYPTPROV context = 0;
    if (!CPAcquireContext(&context, nullptr, CRYPT_VERIFYCONTEXT, &caller) ||
        !CPGetProvParam(context, PP_CONTAINER_FILE, reinterpret_cast<BYTE*>(path.data()), &size,
                        0)) {
        return 1;
    }
    std::printf("%s\n", path.data());
    return CPReleaseContext(context, 0) ? 0 : 1;
}
