// Secret lines from descriptors.
#pragma once

#include <string>

#include "mvlpfx/secret.h"

namespace mvlpfx {

// A descriptor that is closed at the end, or none.
class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd_ >= 0) {
            Close(fd_);
        }
    }
    int Get() const { return fd_; }

  private:
    static void Close(int fd);

    int fd_;
};

// In bytes.
inline constexpr std::size_t kLongestLine = 4096;

// Throws ToolError(kFile) with the reason in errno, `what` being the source of the password.
[[noreturn]] void FailToRead(const std::string& what);

// The line without its end. Throws ToolError: kFile, or kWrongPassword for a line that is too long.
Secret<char> ReadLine(int fd, const std::string& what);

}  // namespace mvlpfx
