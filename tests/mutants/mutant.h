// In the build of scripts/mutate.py alone: which of the faults written into src/ is on.
#pragma once

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <type_traits>

namespace mutation {

// The number in MVLPFX_MUTANT, or 0 for none. It allocates nothing, since tests count allocations.
inline int Chosen() {
    static const int number = [] {
        const char* const text = std::getenv("MVLPFX_MUTANT");
        return text == nullptr ? 0 : std::atoi(text);
    }();
    return number;
}

// Leaves the file that MVLPFX_MUTANT_REACHED names. Past the functions of the library, which tests
// stand before.
inline bool WriteReached() {
    const int error = errno;
    if (const char* const path = std::getenv("MVLPFX_MUTANT_REACHED")) {
        const long file = syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (file >= 0) {
            syscall(SYS_close, file);
        }
    }
    errno = error;
    return true;
}

inline bool TellReached() {
    static const bool isTold = WriteReached();
    return isTold;
}

// Whether the code of fault `number` runs in place of what it was made from.
inline bool IsChosen(int number) {
    return Chosen() == number && TellReached();
}

// The same for functions that may be evaluated as the program is compiled, without a fault then.
constexpr bool Active(int number) {
    return !std::is_constant_evaluated() && IsChosen(number);
}

}  // namespace mutation
