// Who may do what with a file of secrets, on Windows. The user is the one that the thread
// acts for.
#pragma once

#include <utility>

#include "cryptoapi.h"

namespace state {

// A file or folder that is open, or none.
class File {
  public:
    File() = default;
    explicit File(HANDLE handle) : handle_(handle) {}
    File(File&& other) noexcept : handle_(std::exchange(other.handle_, INVALID_HANDLE_VALUE)) {}
    File& operator=(File&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~File() {
        if (IsOpen()) {
            CloseHandle(handle_);
        }
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool IsOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
    HANDLE Get() const { return handle_; }

  private:
    HANDLE handle_ = INVALID_HANDLE_VALUE;
};

// A security descriptor for what is made: the user, the administrators and the system have all
// rights, nobody else has any, and nothing is inherited from the folder above.
class PrivateAccess {
  public:
    PrivateAccess();
    ~PrivateAccess();
    PrivateAccess(const PrivateAccess&) = delete;
    PrivateAccess& operator=(const PrivateAccess&) = delete;

    // Null where the system could not make it.
    PSECURITY_DESCRIPTOR Descriptor() const { return descriptor_; }

  private:
    PSECURITY_DESCRIPTOR descriptor_ = nullptr;
};

// Whether it belongs to the user, the administrators or the system, and nobody else has one of
// `rights`. The file is open for READ_CONTROL.
bool IsPrivate(const File& file, ACCESS_MASK rights);

}  // namespace state
