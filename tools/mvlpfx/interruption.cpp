#include "mvlpfx/interruption.h"

#include <csignal>
#include <cstdio>

namespace mvlpfx {

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

bool IsIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t SignalsThatEnd() {
    sigset_t set{};
    sigemptyset(&set);
    for (const int signal : kSignals) {
        if (!IsIgnored(signal)) {
            sigaddset(&set, signal);
        }
    }
    return set;
}

}  // namespace

void DeferSignals() {
    const sigset_t set = SignalsThatEnd();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void DeliverSignals() {
    // A signal may come as soon as it can.
    std::fflush(stdout);
    const sigset_t set = SignalsThatEnd();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

int PendingSignal() {
    const sigset_t set = SignalsThatEnd();
    sigset_t pending{};
    sigpending(&pending);
    for (const int signal : kSignals) {
        if (sigismember(&pending, signal) == 1 && sigismember(&set, signal) == 1) {
            return signal;
        }
    }
    return 0;
}

void ThrowIfInterrupted() {
    if (const int signal = PendingSignal(); signal != 0) {
        throw Interrupted{signal};
    }
}

}  // namespace mvlpfx
