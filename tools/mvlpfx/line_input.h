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

// What a line is read as.
enum class LineKind { kPassword, kPin };

// In bytes.
inline constexpr std::size_t kLongestLine = 4096;

// Throws ToolError(kFile) with the reason in errno, `what` being the source of the line.
[[noreturn]] void FailToRead(const std::string& what, LineKind kind = LineKind::kPassword);

// The line without its end. Throws ToolError: kFile, or for a line that is too long or a source at
// its end kWrongPassword, kUsage for a PIN.
Secret<char> ReadLine(int fd, const std::string& what, LineKind kind = LineKind::kPassword);

}  // namespace mvlpfx
