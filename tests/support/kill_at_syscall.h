// A process that is killed at a system call of the test's choice.
#pragma once

#include <gtest/gtest.h>

#include <functional>

namespace test_support {

enum class ProcessEnd {
    // Before its n-th system call was carried out.
    kKilled,
    // By itself, with fewer system calls.
    kFinished,
    // This system lets no process be traced.
    kNotPermitted,
};

struct ProcessOutcome {
    ProcessEnd end;
    // What `work` answered, of a process that finished; 1000 for one that ended by another signal.
    int answer;
};

// Runs `work` in a process of its own, a copy of this one, and kills it (SIGKILL) where it asks for
// its `n`-th system call, counted from 1. What the process has is gone without its doing anything
// about it; what it did to files before stays.
ProcessOutcome RunKilledAtSyscall(int n, const std::function<int()>& work);

// Runs `work` killed at its first system call, at its second, and so on, until it finishes by
// itself, which it has to do with answer 0; `prepare` before each run, `check` after each, the last
// included. Answers how many runs were killed, or -1 where no process can be traced.
int KillAtEverySyscall(const std::function<void()>& prepare, const std::function<int()>& work,
                       const std::function<void()>& check);

}  // namespace test_support

// Skips the test where KillAtEverySyscall could do nothing.
#define SKIP_WHERE_NOTHING_IS_TRACED(killed)                     \
    if ((killed) < 0) {                                          \
        GTEST_SKIP() << "this system lets no process be traced"; \
    }
