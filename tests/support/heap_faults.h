// Makes allocations of the whole process fail: those of the program, of every library that it
// loads, and of the cryptographic library's secure memory. A program that links this gets its heap
// from here; it exports its symbols (ENABLE_EXPORTS), or those who asked could not be told.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace heap_faults {

enum class Mode { kOne, kAllFrom };

// While it lives, allocation `number` of this thread, counted from 1, fails, or all from it on. Of
// the allocations that libgcrypt would end the process for none fails: the next after them does.
class Fail {
  public:
    Fail(std::size_t number, Mode mode);
    ~Fail();
    Fail(const Fail&) = delete;
    Fail& operator=(const Fail&) = delete;

    // Whether there were as many.
    bool Happened() const;
    // The number of the one that failed first.
    std::size_t Number() const;
    // How many from `number` on were let through, since the process would have ended.
    std::size_t LetThrough() const;
};

// What asked for the first allocation that failed, told by its name in the table of docs/faults.md.
struct Asker {
    // The first of these on the way out: libgcrypt, libcrypto, provider, capi, module.
    std::string part;
    // Function names where they are known, from the allocation outward.
    std::vector<std::string> functions;
    // Whether it was secure memory, or an object that the cryptographic library makes in it.
    bool isSecure = false;

    bool Includes(const std::string& name) const;
};
Asker LastAsker();

// Blocks of the heap that are in use, whoever has them.
long LiveBlocks();

}  // namespace heap_faults
