#include "windows/console_program.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <iterator>

namespace windows_tests {

namespace {

using state::File;

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kPatience = 600'000;  // milliseconds

// For the program to take over.
File OpenForIt(const std::string& name, DWORD access, DWORD disposition) {
    SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
    File file(CreateFileA(name.c_str(), access, kShareAll, &inherited, disposition, 0, nullptr));
    EXPECT_TRUE(file.IsOpen()) << name << ' ' << GetLastError();
    return file;
}

std::filesystem::path FolderOfThis() {
    std::array<char, MAX_PATH> path{};
    GetModuleFileNameA(nullptr, path.data(), MAX_PATH);
    return std::filesystem::path(path.data()).parent_path();
}

std::string TextOf(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool IsSameFile(const File& one, const File& other) {
    BY_HANDLE_FILE_INFORMATION first{};
    BY_HANDLE_FILE_INFORMATION second{};
    return GetFileInformationByHandle(one.Get(), &first) != FALSE &&
           GetFileInformationByHandle(other.Get(), &second) != FALSE &&
           first.dwVolumeSerialNumber == second.dwVolumeSerialNumber &&
           first.nFileIndexHigh == second.nFileIndexHigh &&
           first.nFileIndexLow == second.nFileIndexLow;
}

// What the number is of in that process; none where it is of nothing.
File CopyOf(HANDLE process, std::uintptr_t number) {
    HANDLE copy = nullptr;
    const BOOL isCopied =
        DuplicateHandle(process, reinterpret_cast<HANDLE>(number), GetCurrentProcess(), &copy, 0,
                        FALSE, DUPLICATE_SAME_ACCESS);
    return isCopied ? File(copy) : File();
}

}  // namespace

bool WaitUntil(const std::function<bool()>& condition) {
    constexpr DWORD kPause = 10;
    const ULONGLONG end = GetTickCount64() + kPatience;
    while (!condition()) {
        if (GetTickCount64() > end) {
            return false;
        }
        Sleep(kPause);
    }
    return true;
}

ConsoleProgram::ConsoleProgram(const std::string& program, const std::string& arguments) {
    const File input = OpenForIt("NUL", GENERIC_READ, OPEN_EXISTING);
    const File output = OpenForIt((folder_ / "out").string(), GENERIC_WRITE, CREATE_NEW);
    const File complaints = OpenForIt((folder_ / "err").string(), GENERIC_WRITE, CREATE_NEW);
    STARTUPINFOA start{};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = input.Get();
    start.hStdOutput = output.Get();
    start.hStdError = complaints.Get();
    // Who starts this may have it, and what it starts, ignore Ctrl-C.
    SetConsoleCtrlHandler(nullptr, FALSE);
    std::string line = "\"" + (FolderOfThis() / program).string() + "\" " + arguments;
    EXPECT_TRUE(CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                               nullptr, nullptr, &start, &process_))
        << line << ' ' << GetLastError();
}

ConsoleProgram::~ConsoleProgram() {
    TerminateProcess(process_.hProcess, 1);
    WaitForSingleObject(process_.hProcess, kPatience);
    CloseHandle(process_.hProcess);
    CloseHandle(process_.hThread);
}

bool ConsoleProgram::HasOpen(const std::filesystem::path& path) const {
    constexpr std::uintptr_t kLastHandle = 4096;
    constexpr std::uintptr_t kBetween = 4;
    const File file(CreateFileW(path.c_str(), 0, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
    for (std::uintptr_t number = kBetween; number <= kLastHandle; number += kBetween) {
        const File copy = CopyOf(process_.hProcess, number);
        if (copy.IsOpen() && GetFileType(copy.Get()) == FILE_TYPE_DISK && IsSameFile(copy, file)) {
            return true;
        }
    }
    return false;
}

DWORD ConsoleProgram::Wait() const {
    DWORD code = 0;
    WaitForSingleObject(process_.hProcess, kPatience);
    GetExitCodeProcess(process_.hProcess, &code);
    return code;
}

std::string ConsoleProgram::Output() const {
    return TextOf(folder_ / "out");
}

std::string ConsoleProgram::Complaints() const {
    return TextOf(folder_ / "err");
}

HeldContainerLock::HeldContainerLock(const std::filesystem::path& folder)
    : path_(folder / ".lock"),
      file_(CreateFileW(path_.c_str(), GENERIC_READ | GENERIC_WRITE, kShareAll, nullptr,
                        OPEN_EXISTING, 0, nullptr)) {
    OVERLAPPED start{};
    EXPECT_TRUE(LockFileEx(file_.Get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &start))
        << GetLastError();
}

}  // namespace windows_tests
