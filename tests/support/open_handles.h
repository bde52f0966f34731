// What a process holds of the system's.
#pragma once

#include <cstddef>
#ifdef _WIN32
#include <cstdint>

#include "platform/cryptoapi.h"
#else
#include <filesystem>
#include <iterator>
#endif

namespace test_support {

// How many handles, or descriptors, are open, as long as there are fewer than 16,384.
inline std::size_t OpenHandles() {
#ifdef _WIN32
    std::size_t count = 0;
    // They are multiples of 4, the lowest that is free first.
    for (std::uintptr_t handle = 4; handle < 65536; handle += 4) {
        DWORD flags = 0;
        count += GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags) ? 1 : 0;
    }
    return count;
#else
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
#endif
}

}  // namespace test_support
