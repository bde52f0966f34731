#include "mvlpfx/password_source.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

namespace {

constexpr std::size_t kLongestLine = 4096;

class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    int Get() const { return fd_; }

  private:
    int fd_;
};

[[noreturn]] void FailToRead(const std::string& what) {
    throw ToolError(ExitCode::kFile,
                    "can't read the password from " + what + ": " + std::strerror(errno));
}

// Byte by byte: what stands behind the line belongs to whoever reads the descriptor next.
Secret<char> ReadLine(int fd, const std::string& what) {
    Secret<char> line(kLongestLine);
    char byte = 0;
    for (;;) {
        const ssize_t count = read(fd, &byte, 1);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            FailToRead(what);
        }
        if (count == 0 || byte == '\n') {
            break;
        }
        if (line.Text().size() == kLongestLine) {
            throw ToolError(ExitCode::kWrongPassword, "the password from " + what + " is too long",
                            ERROR_INVALID_PASSWORD);
        }
        line.Text().push_back(byte);
    }
    if (!line.Text().empty() && line.Text().back() == '\r') {
        line.Text().pop_back();
    }
    return line;
}

Secret<char> ReadFile(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Get() < 0) {
        FailToRead("'" + path + "'");
    }
    return ReadLine(file.Get(), "'" + path + "'");
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

// Turns echo off, and back on whatever happens.
class NoEcho {
  public:
    explicit NoEcho(int terminal) : terminal_(terminal) {
        tcgetattr(terminal_, &before_);
        termios quiet = before_;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(terminal_, TCSAFLUSH, &quiet);
    }
    NoEcho(const NoEcho&) = delete;
    NoEcho& operator=(const NoEcho&) = delete;
    ~NoEcho() { tcsetattr(terminal_, TCSAFLUSH, &before_); }

  private:
    int terminal_;
    termios before_{};
};

void WriteAll(int fd, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(fd, text.data() + done, text.size() - done);
        if (count <= 0) {
            return;
        }
        done += static_cast<std::size_t>(count);
    }
}

Secret<char> AskOnTerminal(const std::string& prompt) {
    const Descriptor terminal(open("/dev/tty", O_RDWR | O_CLOEXEC));
    if (terminal.Get() < 0) {
        throw ToolError(ExitCode::kUsage,
                        "no password: there is no terminal to ask on, so name one of --pass-file, "
                        "--pass-fd, --pass-env or --pass-stdin");
    }
    // Before the prompt: turning echo off drops what was typed until then.
    const NoEcho quiet(terminal.Get());
    WriteAll(terminal.Get(), prompt);
    Secret<char> line = ReadLine(terminal.Get(), "the terminal");
    WriteAll(terminal.Get(), "\n");
    return line;
}

Secret<char> ReadBytes(const PasswordOptions& options, const std::string& prompt) {
    if (options.file) {
        return ReadFile(*options.file);
    }
    if (options.descriptor) {
        return ReadLine(*options.descriptor, "descriptor " + std::to_string(*options.descriptor));
    }
    if (options.environment) {
        return ReadEnvironment(*options.environment);
    }
    if (options.standardInput) {
        return ReadLine(STDIN_FILENO, "standard input");
    }
    return AskOnTerminal(prompt);
}

}  // namespace

Secret<char> ReadPin(const PinOptions& options) {
    return ReadBytes({options.file, options.descriptor, options.environment}, "");
}

Secret<wchar_t> ReadPassword(const PasswordOptions& options, const std::string& prompt) {
    const Secret<char> bytes = ReadBytes(options, prompt);
    const auto length = static_cast<int>(bytes.Text().size());
    const int wideLength =
        length == 0 ? 0 : MultiByteToWideChar(CP_ACP, 0, bytes.Text().data(), length, nullptr, 0);
    Secret<wchar_t> wide(static_cast<std::size_t>(wideLength));
    wide.Text().resize(static_cast<std::size_t>(wideLength));
    MultiByteToWideChar(CP_ACP, 0, bytes.Text().data(), length, wide.Text().data(), wideLength);
    return wide;
}

Secret<wchar_t> ReadNewPassword(const PasswordOptions& options, const std::string& prompt) {
    Secret<wchar_t> password = ReadPassword(options, prompt);
    if (!options.IsNamed() && ReadPassword(options, "Once more: ").Text() != password.Text()) {
        throw ToolError(ExitCode::kUsage, "the two passwords differ");
    }
    return password;
}

}  // namespace mvlpfx
