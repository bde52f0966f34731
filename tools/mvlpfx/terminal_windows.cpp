#include "mvlpfx/terminal.h"

#include "mvlpfx/exit_codes.h"
#include "mvlpfx/handles.h"
#include "mvlpfx/line_input.h"

namespace mvlpfx {

namespace {

inline void CloseHandleOf(HANDLE handle) {
    if (handle != INVALID_HANDLE_VALUE) {
        CloseHandle(handle);
    }
}
using OwnedHandle = Owned<HANDLE, CloseHandleOf>;

OwnedHandle OpenConsole(const char* name) {
    return OwnedHandle(CreateFileA(name, GENERIC_READ | GENERIC_WRITE,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                   nullptr));
}

// For Ctrl-C to restore: its handler has nothing else to reach it by.
HANDLE openConsole = INVALID_HANDLE_VALUE;
DWORD modeBefore = 0;

// Leaves the ending of the process to the next handler.
BOOL WINAPI RestoreMode(DWORD) {
    SetConsoleMode(openConsole, modeBefore);
    return FALSE;
}

// Turns echo off, and back on whatever happens. There is one at a time.
class NoEcho {
  public:
    explicit NoEcho(HANDLE console) {
        GetConsoleMode(console, &modeBefore);
        openConsole = console;
        SetConsoleCtrlHandler(&RestoreMode, TRUE);
        SetConsoleMode(console, modeBefore & ~DWORD{ENABLE_ECHO_INPUT});
    }
    NoEcho(const NoEcho&) = delete;
    NoEcho& operator=(const NoEcho&) = delete;
    ~NoEcho() {
        SetConsoleMode(openConsole, modeBefore);
        SetConsoleCtrlHandler(&RestoreMode, FALSE);
    }
};

void Write(HANDLE console, const std::string& text) {
    const std::wstring wide = ToWide(text);
    WriteConsoleW(console, wide.data(), static_cast<DWORD>(wide.size()), nullptr, nullptr);
}

}  // namespace

Secret<char> AskOnTerminal(const std::string& prompt) {
    const OwnedHandle input = OpenConsole("CONIN$");
    const OwnedHandle output = OpenConsole("CONOUT$");
    if (input.Get() == INVALID_HANDLE_VALUE || output.Get() == INVALID_HANDLE_VALUE) {
        throw ToolError(ExitCode::kUsage, "no password, and there is no console to ask on", 0,
                        "name one of --pass-file, --pass-fd, --pass-env or --pass-stdin");
    }
    const NoEcho quiet(input.Get());
    FlushConsoleInputBuffer(input.Get());
    Write(output.Get(), prompt);
    Secret<wchar_t> wide(kLongestLine);
    wide.Text().resize(kLongestLine);
    DWORD length = 0;
    const BOOL isRead =
        ReadConsoleW(input.Get(), wide.Text().data(), kLongestLine, &length, nullptr);
    Write(output.Get(), "\n");
    RequireCall(isRead, "can't read the password from the console");
    wide.Text().resize(length);
    while (!wide.Text().empty() && (wide.Text().back() == L'\n' || wide.Text().back() == L'\r')) {
        wide.Text().pop_back();
    }
    const auto count = static_cast<int>(wide.Text().size());
    const int size = count == 0 ? 0
                                : WideCharToMultiByte(CP_ACP, 0, wide.Text().data(), count, nullptr,
                                                      0, nullptr, nullptr);
    Secret<char> line(static_cast<std::size_t>(size));
    line.Text().resize(static_cast<std::size_t>(size));
    WideCharToMultiByte(CP_ACP, 0, wide.Text().data(), count, line.Text().data(), size, nullptr,
                        nullptr);
    return line;
}

}  // namespace mvlpfx
