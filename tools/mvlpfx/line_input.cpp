#include "mvlpfx/line_input.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

namespace {

const char* NounOf(LineKind kind) {
    return kind == LineKind::kPin ? "PIN" : "password";
}

ErrorWord LengthWord(LineKind kind) {
    return kind == LineKind::kPin ? DescribePinLength() : DescribeErrorWord(ERROR_INVALID_PASSWORD);
}

[[noreturn]] void ThrowTooLong(const std::string& what, LineKind kind) {
    const ErrorWord word = LengthWord(kind);
    throw ToolError(word.exitCode,
                    std::string("the ") + NounOf(kind) + " from " + what + " is too long",
                    word.value, word.advice);
}

// An empty line is a choice, of which its length is told; this is a source that ran dry.
[[noreturn]] void ThrowAtEnd(const std::string& what, LineKind kind) {
    const ErrorWord word = LengthWord(kind);
    throw ToolError(word.exitCode,
                    "no " + std::string(NounOf(kind)) + " comes from " + what +
                        ", which is at its end; " + word.meaning,
                    word.value,
                    "write it there, as a line; what is read once from a pipe is gone from it");
}

}  // namespace

void Descriptor::Close(int fd) {
    close(fd);
}

void FailToRead(const std::string& what, LineKind kind) {
    const int error = errno;
    throw ToolError(ExitCode::kFile,
                    std::string("can't read the ") + NounOf(kind) + " from " + what + ": " +
                        std::strerror(error),
                    0, AdviceOfErrno(error));
}

// Byte by byte: what stands behind the line belongs to whoever reads the descriptor next.
Secret<char> ReadLine(int fd, const std::string& what, LineKind kind) {
    Secret<char> line(kLongestLine);
    char byte = 0;
    for (bool isFirst = true;; isFirst = false) {
        const ssize_t count = read(fd, &byte, 1);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            FailToRead(what, kind);
        }
        if (count == 0 && isFirst) {
            ThrowAtEnd(what, kind);
        }
        if (count == 0 || byte == '\n') {
            break;
        }
        if (line.Text().size() == kLongestLine) {
            ThrowTooLong(what, kind);
        }
        line.Text().push_back(byte);
    }
    if (!line.Text().empty() && line.Text().back() == '\r') {
        line.Text().pop_back();
    }
    return line;
}

}  // namespace mvlpfx
