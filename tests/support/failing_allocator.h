// Makes one allocation of the program fail, to see what is left behind. A program that links this
// gets its global operator new from here.
#pragma once

#include <cstddef>

namespace allocation {

// While it lives, allocation `number` of this thread, counted from 1, throws std::bad_alloc.
class FailOne {
  public:
    explicit FailOne(std::size_t number);
    ~FailOne();
    FailOne(const FailOne&) = delete;
    FailOne& operator=(const FailOne&) = delete;

    // Whether there were as many.
    bool Happened() const;
};

// Blocks of this thread that are in use; one that another thread gives back counts there.
long LiveBlocks();

}  // namespace allocation
