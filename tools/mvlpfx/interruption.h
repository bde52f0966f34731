// Signals that end the process, held off while that would leave something half done.
#pragma once

namespace mvlpfx {

// Thrown where a command is interrupted before the point of no return: what it has made is taken
// back on the way out.
struct Interrupted {
    int signal;
};

// From here on SIGINT, SIGTERM and SIGHUP (Ctrl-C and Ctrl-Break on Windows) wait, unless they are
// ignored. For the thread that runs the command, and those that it starts from here on.
void DeferSignals();

// Ends the process by a signal that waits, with what was printed written; returns where none does.
void DeliverSignals();

// The number of a signal that waits; 0 where none does.
int PendingSignal();

// Throws Interrupted where one does.
void ThrowIfInterrupted();

}  // namespace mvlpfx
