#include "mvlpfx/terminal.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include "mvlpfx/exit_codes.h"
#include "mvlpfx/line_input.h"

namespace mvlpfx {

namespace {

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

}  // namespace

Secret<char> AskOnTerminal(const std::string& prompt) {
    const Descriptor terminal(open("/dev/tty", O_RDWR | O_CLOEXEC));
    if (terminal.Get() < 0) {
        throw ToolError(ExitCode::kUsage, "no password, and there is no terminal to ask on", 0,
                        "name one of --pass-file, --pass-fd, --pass-env or --pass-stdin");
    }
    // Before the prompt: turning echo off drops what was typed until then.
    const NoEcho quiet(terminal.Get());
    WriteAll(terminal.Get(), prompt);
    Secret<char> line = ReadLine(terminal.Get(), "the terminal");
    WriteAll(terminal.Get(), "\n");
    return line;
}

}  // namespace mvlpfx
