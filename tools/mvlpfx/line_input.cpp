#include "mvlpfx/line_input.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

void Descriptor::Close(int fd) {
    close(fd);
}

void FailToRead(const std::string& what) {
    const int error = errno;
    throw ToolError(ExitCode::kFile,
                    "can't read the password from " + what + ": " + std::strerror(error), 0,
                    AdviceOfErrno(error));
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
                            ERROR_INVALID_PASSWORD,
                            DescribeErrorWord(ERROR_INVALID_PASSWORD).advice);
        }
        line.Text().push_back(byte);
    }
    if (!line.Text().empty() && line.Text().back() == '\r') {
        line.Text().pop_back();
    }
    return line;
}

}  // namespace mvlpfx
