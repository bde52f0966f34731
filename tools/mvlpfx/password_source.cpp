#include "mvlpfx/password_source.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/line_input.h"
#include "mvlpfx/terminal.h"

namespace mvlpfx {

namespace {

Secret<char> ReadFile(const std::string& path, LineKind kind) {
    const Descriptor file(open(path.c_str(), O_RDONLY));
    if (file.Get() < 0) {
        FailToRead("'" + path + "'", kind);
    }
    return ReadLine(file.Get(), "'" + path + "'", kind);
}

Secret<char> ReadEnvironment(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    if (value == nullptr) {
        throw ToolError(ExitCode::kUsage, "the environment variable " + name + " is not set");
    }
    Secret<char> line(std::strlen(value));
    line.Text().assign(value);
    return line;
}

Secret<char> ReadBytes(const PasswordOptions& options, const std::string& prompt,
                       LineKind kind = LineKind::kPassword) {
    if (options.file) {
        return ReadFile(*options.file, kind);
    }
    if (options.descriptor) {
        return ReadLine(*options.descriptor, "descriptor " + std::to_string(*options.descriptor),
                        kind);
    }
    if (options.environment) {
        return ReadEnvironment(*options.environment);
    }
    if (options.standardInput) {
        return ReadLine(STDIN_FILENO, "standard input");
    }
    return AskOnTerminal(prompt);
}

// What stands behind a zero would count for nothing, and less would guard than its owner believes.
void RefuseZeros(const Secret<char>& bytes, const std::string& what) {
    if (bytes.Text().find('\0') != bytes.Text().npos) {
        throw ToolError(ExitCode::kUsage, "the " + what + " holds a zero byte", 0,
                        "write it as text in the encoding of your locale; UTF-16 is not one");
    }
}

// Of several passwords that are no text all would be the same one.
[[noreturn]] void FailToConvert() {
    throw ToolError(ExitCode::kUsage, "the password is no text in the encoding of your locale", 0,
                    "write it in that encoding, or choose the locale that it is written in");
}

}  // namespace

Secret<char> ReadPin(const PinOptions& options) {
    constexpr std::size_t kLongestPin = 255;
    Secret<char> pin =
        ReadBytes({options.file, options.descriptor, options.environment}, "", LineKind::kPin);
    RefuseZeros(pin, "PIN");
    if (pin.Text().empty() || pin.Text().size() > kLongestPin) {
        const ErrorWord word = DescribePinLength();
        throw ToolError(word.exitCode, word.meaning, word.value, word.advice);
    }
    return pin;
}

Secret<wchar_t> ReadPassword(const PasswordOptions& options, const std::string& prompt) {
    const Secret<char> bytes = ReadBytes(options, prompt);
    RefuseZeros(bytes, "password");
    const auto length = static_cast<int>(bytes.Text().size());
    if (length == 0) {
        return Secret<wchar_t>(0);
    }
    const char* const text = bytes.Text().data();
    const int wideLength =
        MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text, length, nullptr, 0);
    if (wideLength == 0) {
        FailToConvert();
    }
    Secret<wchar_t> wide(static_cast<std::size_t>(wideLength));
    wide.Text().resize(static_cast<std::size_t>(wideLength));
    MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text, length, wide.Text().data(), wideLength);
    return wide;
}

Secret<wchar_t> ReadNewPassword(const PasswordOptions& options, const std::string& prompt) {
    constexpr wchar_t kByteOrderMark = 0xFEFF;
    Secret<wchar_t> password = ReadPassword(options, prompt);
    if (password.Text().starts_with(kByteOrderMark)) {
        throw ToolError(ExitCode::kUsage, "the password begins with a byte order mark", 0,
                        "save the file without one; nobody could type it");
    }
    if (!options.IsNamed() && ReadPassword(options, "Once more: ").Text() != password.Text()) {
        throw ToolError(ExitCode::kUsage, "the two passwords differ");
    }
    return password;
}

}  // namespace mvlpfx
