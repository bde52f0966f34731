// What the tool's exit codes mean, and how a command fails.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace mvlpfx {

enum class ExitCode : int {
    kDone = 0,
    kOther = 1,
    kUsage = 2,
    kWrongPassword = 3,
    kMalformed = 4,
    kUnsupported = 5,
    kTooManyIterations = 6,
    kFile = 7,
    kProvider = 8,
    kExists = 9,
};

// A command's failure: the code the process exits with, the words for the user, and the platform's
// error word where one led to it (0 where none did).
class ToolError : public std::runtime_error {
  public:
    ToolError(ExitCode code, const std::string& message, std::uint32_t word = 0)
        : std::runtime_error(message), exitCode(code), errorWord(word) {}

    ExitCode exitCode;
    std::uint32_t errorWord;
};

}  // namespace mvlpfx
