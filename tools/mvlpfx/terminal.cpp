#include "mvlpfx/terminal.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <iterator>

#include "mvlpfx/exit_codes.h"
#include "mvlpfx/line_input.h"

namespace mvlpfx {

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// For a signal to restore: its handler has nothing else to reach it by.
int openTerminal = -1;
termios modesBefore{};

// Ends the process by the signal, with the terminal as it was.
void EndBySignal(int signal) {
    tcsetattr(openTerminal, TCSANOW, &modesBefore);
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    raise(signal);
}

// Turns echo off, and back on whatever happens. There is one at a time.
class NoEcho {
  public:
    explicit NoEcho(int terminal) {
        tcgetattr(terminal, &modesBefore);
        openTerminal = terminal;
        for (std::size_t i = 0; i < std::size(kSignals); ++i) {
            struct sigaction ending {};
            ending.sa_handler = &EndBySignal;
            sigaction(kSignals[i], nullptr, &actionsBefore_[i]);
            if (actionsBefore_[i].sa_handler != SIG_IGN) {
                sigaction(kSignals[i], &ending, nullptr);
            }
        }
        termios quiet = modesBefore;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(terminal, TCSAFLUSH, &quiet);
    }
    NoEcho(const NoEcho&) = delete;
    NoEcho& operator=(const NoEcho&) = delete;
    ~NoEcho() {
        tcsetattr(openTerminal, TCSAFLUSH, &modesBefore);
        for (std::size_t i = 0; i < std::size(kSignals); ++i) {
            sigaction(kSignals[i], &actionsBefore_[i], nullptr);
        }
    }

  private:
    struct sigaction actionsBefore_[std::size(kSignals)]{};
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
