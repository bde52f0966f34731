// What the tool's exit codes mean, and how a command fails.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace mvlpfx {

// A command that a signal ends has 128 and the signal's number, as a shell tells it.
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

// Where in a document a failure has its cause, and what stands there.
struct DocumentPlace {
    std::uint32_t offset = 0;  // of the element, in the DER that text forms decode to
    std::string path;          // "authSafe.contents[2].bags[1].bagAttributes[3]", counted from 1
    std::string found;
};

// A command's failure: the code the process exits with, the words for the user, and the platform's
// error word where one led to it (0 where none did).
class ToolError : public std::runtime_error {
  public:
    ToolError(ExitCode code, const std::string& message, std::uint32_t word = 0,
              std::string whatToDo = {})
        : std::runtime_error(message),
          exitCode(code),
          errorWord(word),
          advice(std::move(whatToDo)) {}

    ExitCode exitCode;
    std::uint32_t errorWord;
    std::string advice;
    std::optional<DocumentPlace> place;
    // What else there is to tell, a line each for people and as members of the report in JSON.
    std::vector<std::string> lines;
    nlohmann::ordered_json facts = nlohmann::ordered_json::object();
};

}  // namespace mvlpfx
