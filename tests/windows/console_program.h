// A program in a console of its own, which no window shows.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "platform/cryptoapi.h"
#include "state/file_security_windows.h"
#include "support/scoped_environment.h"

namespace windows_tests {

// Whether the condition came true, which is asked again and again until it does or a minute is
// over.
bool WaitUntil(const std::function<bool()>& condition);

// Started with this object, and ended with it where it still runs.
class ConsoleProgram {
  public:
    // `program` is beside the test's own. The arguments stand as on a command line.
    ConsoleProgram(const std::string& program, const std::string& arguments);
    ~ConsoleProgram();
    ConsoleProgram(const ConsoleProgram&) = delete;
    ConsoleProgram& operator=(const ConsoleProgram&) = delete;

    DWORD Id() const { return process_.dwProcessId; }

    // Whether it has the file open now.
    bool HasOpen(const std::filesystem::path& path) const;

    // Until it ends; its exit code, or STILL_ACTIVE after a minute.
    DWORD Wait() const;

    // What it has written by now on standard output or standard error, lines ended as on Linux.
    std::string Output() const;
    std::string Complaints() const;

  private:
    test_support::ScopedFolder folder_;
    PROCESS_INFORMATION process_{};
};

// The lock that whoever changes containers takes, held for as long as this is there. The folder of
// containers is there already.
class HeldContainerLock {
  public:
    explicit HeldContainerLock(const std::filesystem::path& folder);
    HeldContainerLock(const HeldContainerLock&) = delete;
    HeldContainerLock& operator=(const HeldContainerLock&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    void Release() { file_ = state::File(); }

  private:
    std::filesystem::path path_;
    state::File file_;
};

}  // namespace windows_tests
