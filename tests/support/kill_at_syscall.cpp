#include "support/kill_at_syscall.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test_support {

namespace {

constexpr int kUntraceable = 99;
constexpr int kEndedBySignal = 1000;
// What a stop at a system call is told by, once PTRACE_O_TRACESYSGOOD is set.
constexpr int kSyscallStop = SIGTRAP | 0x80;

[[noreturn]] void BeTraced(const std::function<int()>& work) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
        _exit(kUntraceable);
    }
    raise(SIGSTOP);
    // Nothing of this copy's exit handlers and sanitizers is to run.
    _exit(work());
}

ProcessOutcome Kill(pid_t child) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    return {ProcessEnd::kKilled, 0};
}

// Lets it go on to its next system call's start or end, or to its own end.
bool Continue(pid_t child, int signal, int* status) {
    return ptrace(PTRACE_SYSCALL, child, nullptr, signal) == 0 &&
           waitpid(child, status, 0) == child && WIFSTOPPED(*status);
}

}  // namespace

ProcessOutcome RunKilledAtSyscall(int n, const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        BeTraced(work);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFSTOPPED(status)) {
        return {ProcessEnd::kNotPermitted, 0};
    }
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int signal = 0;
    bool isInCall = false;
    for (int started = 0; Continue(child, signal, &status);) {
        signal = 0;
        if (WSTOPSIG(status) != kSyscallStop) {
            signal = WSTOPSIG(status);
            continue;
        }
        isInCall = !isInCall;
        if (isInCall && ++started == n) {
            return Kill(child);
        }
    }
    return {ProcessEnd::kFinished, WIFEXITED(status) ? WEXITSTATUS(status) : kEndedBySignal};
}

int KillAtEverySyscall(const std::function<void()>& prepare, const std::function<int()>& work,
                       const std::function<void()>& check) {
    for (int n = 1;; ++n) {
        SCOPED_TRACE("killed at system call " + std::to_string(n));
        prepare();
        const ProcessOutcome outcome = RunKilledAtSyscall(n, work);
        if (outcome.end == ProcessEnd::kNotPermitted) {
            return -1;
        }
        check();
        if (outcome.end == ProcessEnd::kFinished) {
            EXPECT_EQ(outcome.answer, 0);
            return n - 1;
        }
        if (testing::Test::HasFailure()) {
            return n;
        }
    }
}

}  // namespace test_support
