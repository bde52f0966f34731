// Files of capi's own: where they are, and how they are written so that a killed process leaves the
// old state or the new one. Failures are ErrorWords; those of writing are told to syslog with the
// file's name.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "capi/types.h"
#include "state/state_files.h"

namespace capi {

using state::FileDescriptor;
using state::WordOfErrno;

// Throws ERROR_PATH_NOT_FOUND where no home folder is known.
std::filesystem::path UserStateFolder();

// What tells one state of a file from another.
struct FileState {
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;

    auto operator<=>(const FileState&) const = default;
};

// Nothing where the file is not there.
std::optional<FileState> StateOf(const std::filesystem::path& path);

// The bytes of a regular file of at most `limit`; nothing where it is not there.
std::optional<std::vector<BYTE>> ReadStateFile(const std::filesystem::path& path, off_t limit);

// The right to write in a folder, which is made where it is not there; one holder at a time among
// all threads and processes. What a killed writer left is removed.
class FolderLock {
  public:
    // `mode` is that of a folder that has to be made.
    FolderLock(std::filesystem::path folder, mode_t mode);

    // Writes whole to another name, flushes and renames. `mode` is the file's.
    void Write(const std::string& name, std::span<const BYTE> bytes, mode_t mode) const;
    // Nothing where the file is not there.
    void Remove(const std::string& name) const;

  private:
    void Flush() const;

    std::filesystem::path folder_;
    FileDescriptor lock_;
};

}  // namespace capi
