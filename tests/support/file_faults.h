// Makes calls on files fail that the program, or a library that it loads, makes of the C library. A
// program that links this gets those calls from here.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace file_faults {

// What becomes of a call.
struct Fault {
    // Left in errno by a call that fails. EINTR goes to reading, writing and locking alone, which
    // are all that may be interrupted; a short call, 0 here, to reading and writing.
    int error = 0;
    // Whether all calls after it do the same.
    bool stays = false;

    bool IsShort() const { return error == 0; }
};

// While it lives, call `number` of those that `fault` may go to, counted from 1, has it. A close
// that fails closes all the same.
class Fail {
  public:
    Fail(std::size_t number, Fault fault);
    ~Fail();
    Fail(const Fail&) = delete;
    Fail& operator=(const Fail&) = delete;

    // Whether there were as many.
    bool Happened() const;
};

// The last call that had a fault first, and the functions that led to it.
std::string LastCall();
std::vector<std::string> LastCallers();

}  // namespace file_faults
