// The steps of writing state to the disk, for capi and the provider alike.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "cryptoapi.h"
#include "state/state_folders.h"

namespace state {

// The error word for what a system call left in errno.
LONG WordOfErrno(int error);

class FileDescriptor {
  public:
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    ~FileDescriptor();
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    bool IsOpen() const { return descriptor_ >= 0; }
    int Get() const { return descriptor_; }

  private:
    int descriptor_;
};

// These answer whether it was done; if not, the reason is in errno.

// Makes a folder that is not there, and those above it, with `mode`.
bool MakeFolders(const std::filesystem::path& folder, mode_t mode);
// Adds the names in a folder, but for "." and "..", in no order. Throws std::bad_alloc, where the
// standard library's walk would end the process.
bool ListFolder(const std::filesystem::path& folder, std::vector<std::string>* names);
bool WriteAll(int descriptor, std::span<const BYTE> bytes);
// Fills the whole of `bytes`; a file that ends before gives EIO.
bool ReadAll(int descriptor, std::span<BYTE> bytes);
// Waits until no other open file, of this process or another, has the lock.
bool LockWhole(int descriptor);
// Brings a folder's names to the disk, which a power failure could otherwise undo. A file system
// that cannot do that is taken as it is.
void FlushFolder(int descriptor);

}  // namespace state
