#include "mvlpfx/interruption.h"

#include <windows.h>

#include <atomic>
#include <csignal>
#include <cstdio>

namespace mvlpfx {

namespace {

std::atomic<bool> isPending = false;

// Runs on a thread of the system's.
BOOL WINAPI KeepSignal(DWORD kind) {
    if (kind != CTRL_C_EVENT && kind != CTRL_BREAK_EVENT) {
        return FALSE;
    }
    isPending = true;
    return TRUE;
}

}  // namespace

void DeferSignals() {
    SetConsoleCtrlHandler(&KeepSignal, TRUE);
}

void DeliverSignals() {
    SetConsoleCtrlHandler(&KeepSignal, FALSE);
    if (isPending) {
        std::fflush(stdout);
        ExitProcess(static_cast<UINT>(STATUS_CONTROL_C_EXIT));
    }
}

int PendingSignal() {
    return isPending ? SIGINT : 0;
}

void ThrowIfInterrupted() {
    if (isPending) {
        throw Interrupted{SIGINT};
    }
}

}  // namespace mvlpfx
