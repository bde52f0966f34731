// Where a password comes from; never from an argument, which every user of the machine can read.
#pragma once

#include <optional>
#include <string>

#include "mvlpfx/secret.h"

namespace mvlpfx {

// At most one is set; none means the terminal.
struct PasswordOptions {
    std::optional<std::string> file;
    std::optional<int> descriptor;
    std::optional<std::string> environment;
    bool standardInput = false;

    bool IsNamed() const { return file || descriptor || environment || standardInput; }
};

// Where a container's PIN comes from; none of them for a container without one.
struct PinOptions {
    std::optional<std::string> file;
    std::optional<int> descriptor;
    std::optional<std::string> environment;

    bool IsNamed() const { return file || descriptor || environment; }
};

// The PIN's bytes as they stand, without the line end. One source is named. Throws ToolError: kFile
// when the source can't be read, kUsage for a PIN of a length that none has, one that holds a zero,
// or when an environment variable is not set.
Secret<char> ReadPin(const PinOptions& options);

// The first line of the source, without its line end, read as text of the user's locale. On the
// terminal it is asked for without echo.
// Throws ToolError: kFile when the source can't be read, kUsage when an environment variable is not
// set, when there is neither a source nor a terminal, and for a line that holds a zero or is no
// text of that locale, kWrongPassword for a line over 4096 bytes.
Secret<wchar_t> ReadPassword(const PasswordOptions& options, const std::string& prompt);

// The same for a password that is made: on the terminal it is asked for twice. Throws also kUsage
// for two that differ, and for one that begins with a byte order mark.
Secret<wchar_t> ReadNewPassword(const PasswordOptions& options, const std::string& prompt);

}  // namespace mvlpfx
