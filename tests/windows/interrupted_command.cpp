// What meets Ctrl-C in a console of its own, as a command of the tool does:
//
//     interrupted_command [pressed] show       tells what it sees of a signal
//     interrupted_command [pressed] new NAME   makes a key in a container, and its certificate
//     interrupted_command [pressed] write FILE writes into a file that is there
//     interrupted_command press PROCESS        presses it in the console of that process
//
// With "pressed" a signal waits already when it begins.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "mvlpfx/commands.h"
#include "mvlpfx/interruption.h"
#include "mvlpfx/output_file.h"

namespace {

using Arguments = std::vector<std::string>;

constexpr int kFailed = 1;

// For every process of this one's console.
bool Press() {
    if (GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) == FALSE) {
        std::printf("no Ctrl-C: error %lu\n", GetLastError());
        return false;
    }
    return true;
}

// Whoever starts a process may have it ignore the key.
void HeedTheKey() {
    SetConsoleCtrlHandler(nullptr, FALSE);
}

// The signal comes on a thread of the system's, some time later.
bool PressUntilItWaits() {
    constexpr int kPatience = 60'000;
    HeedTheKey();
    if (!Press()) {
        return false;
    }
    for (int i = 0; mvlpfx::PendingSignal() == 0; ++i) {
        if (i == kPatience) {
            std::puts("no signal came");
            return false;
        }
        Sleep(1);
    }
    return true;
}

int PressIn(const std::string& process) {
    FreeConsole();
    if (AttachConsole(std::strtoul(process.c_str(), nullptr, 10)) == FALSE) {
        std::printf("no console: error %lu\n", GetLastError());
        return kFailed;
    }
    // Not for this one.
    SetConsoleCtrlHandler(nullptr, TRUE);
    return Press() ? 0 : kFailed;
}

void Show() {
    std::printf("waits: %d\n", mvlpfx::PendingSignal());
    mvlpfx::ThrowIfInterrupted();
    std::puts("goes on");
}

void MakeKey(const std::string& name) {
    mvlpfx::NewOptions options;
    options.common.quiet = true;
    options.subject = "CN=" + name;
    options.container = name;
    mvlpfx::RunNew(options);
}

void Write(const std::string& path) {
    const std::vector<std::uint8_t> bytes{'n', 'e', 'w'};
    mvlpfx::WriteOutputFile(path, bytes, true);
}

void Run(const Arguments& arguments) {
    if (arguments[0] == "show") {
        Show();
    } else if (arguments[0] == "new") {
        MakeKey(arguments[1]);
    } else {
        Write(arguments[1]);
    }
}

// As the tool's main() does.
int RunDeferred(Arguments arguments) {
    mvlpfx::DeferSignals();
    if (arguments[0] == "pressed") {
        if (!PressUntilItWaits()) {
            return kFailed;
        }
        arguments.erase(arguments.begin());
    }
    try {
        Run(arguments);
    } catch (const mvlpfx::Interrupted& interrupted) {
        std::printf("interrupted: %d\n", interrupted.signal);
    }
    mvlpfx::DeliverSignals();
    std::puts("nothing to deliver");
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const Arguments arguments(argv + 1, argv + argc);
    return arguments[0] == "press" ? PressIn(arguments[1]) : RunDeferred(arguments);
}
