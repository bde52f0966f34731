// Where state lies on the disk, and the steps of writing it, for capi and the provider alike.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <span>

#include "cryptoapi.h"

namespace state {

// $VELMORIX_HOME, else velmorix under $XDG_DATA_HOME, else under the home folder's .local/share.
// Variables that hold no absolute path, and all of them in a set-user-id process, are passed over.
// Nothing where no home folder is known.
std::optional<std::filesystem::path> UserFolder();
// $VELMORIX_MACHINE_HOME, else /var/lib/velmorix.
std::filesystem::path MachineFolder();

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
bool WriteAll(int descriptor, std::span<const BYTE> bytes);
// Fills the whole of `bytes`; a file that ends before gives EIO.
bool ReadAll(int descriptor, std::span<BYTE> bytes);
// Waits until no other open file, of this process or another, has the lock.
bool LockWhole(int descriptor);
// Brings a folder's names to the disk, which a power failure could otherwise undo. A file system
// that cannot do that is taken as it is.
void FlushFolder(int descriptor);

}  // namespace state
