// What meets Ctrl-C in a console of its own, as a command of the tool does:
//
//     interrupted_command [pressed] show       tells what it sees of a signal
//     interrupted_command [pressed] new NAME   makes a key in a container, and its certificate
//     interrupted_command [pressed] write FILE writes into a file that is there
//     interrupted_command press PROCESS        presses it in the console of that process
//     interrupted_command prompt PROCESS       the same where that asks for a password, and tells
//                                              what becomes of the echo
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
constexpr int kPatience = 600'000;  // milliseconds

template <typename Condition>
bool WaitUntil(Condition condition) {
    for (int i = 0; i != kPatience; ++i) {
        if (condition()) {
            return true;
        }
        Sleep(1);
    }
    return false;
}

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
    HeedTheKey();
    if (!Press()) {
        return false;
    }
    const bool isThere = WaitUntil([] { return mvlpfx::PendingSignal() != 0; });
    if (!isThere) {
        std::puts("no signal came");
    }
    return isThere;
}

// A process that has just been started may not have its console yet.
bool TakeConsoleOf(DWORD process) {
    FreeConsole();
    if (!WaitUntil([process] { return AttachConsole(process) != FALSE; })) {
        std::printf("no console: error %lu\n", GetLastError());
        return false;
    }
    // What is pressed there is not for this one.
    SetConsoleCtrlHandler(nullptr, TRUE);
    return true;
}

// "on" or "off", or why that is not known.
std::string EchoOf(HANDLE console) {
    DWORD mode = 0;
    if (GetConsoleMode(console, &mode) == FALSE) {
        return "error " + std::to_string(GetLastError());
    }
    return (mode & ENABLE_ECHO_INPUT) != 0 ? "on" : "off";
}

int PressIn(DWORD process) {
    return TakeConsoleOf(process) && Press() ? 0 : kFailed;
}

int PressAtPrompt(DWORD process) {
    const HANDLE running = OpenProcess(SYNCHRONIZE, FALSE, process);
    if (running == nullptr || !TakeConsoleOf(process)) {
        return kFailed;
    }
    const HANDLE console =
        CreateFileA("CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    WaitUntil([console] { return EchoOf(console) == "off"; });
    std::printf("echo at the prompt: %s\n", EchoOf(console).c_str());
    if (!Press() || WaitForSingleObject(running, kPatience) != WAIT_OBJECT_0) {
        return kFailed;
    }
    std::printf("echo behind it: %s\n", EchoOf(console).c_str());
    return 0;
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
    const DWORD process =
        arguments.size() > 1 ? std::strtoul(arguments[1].c_str(), nullptr, 10) : 0;
    if (arguments[0] == "press") {
        return PressIn(process);
    }
    return arguments[0] == "prompt" ? PressAtPrompt(process) : RunDeferred(arguments);
}
