#include "capi/state_files.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "capi/calls.h"

namespace capi {

namespace {

constexpr char kLockName[] = ".lock";
constexpr char kUnfinishedName[] = ".unfinished";
constexpr mode_t kLockMode = 0600;

[[noreturn]] void FailToWrite(const std::filesystem::path& path) {
    const int error = errno;
    syslog(LOG_ERR, "%s: %s", path.c_str(), std::generic_category().message(error).c_str());
    ThrowWord(WordOfErrno(error));
}

void MakeFolder(const std::filesystem::path& folder, mode_t mode) {
    if (!state::MakeFolders(folder, mode)) {
        FailToWrite(folder);
    }
}

FileDescriptor OpenLocked(const std::filesystem::path& path) {
    FileDescriptor lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kLockMode));
    if (!lock.IsOpen() || !state::LockWhole(lock.Get())) {
        FailToWrite(path);
    }
    return lock;
}

}  // namespace

std::filesystem::path UserStateFolder() {
    std::optional<std::filesystem::path> folder = state::UserFolder();
    Require(folder.has_value(), ERROR_PATH_NOT_FOUND);
    return *std::move(folder);
}

std::optional<FileState> StateOf(const std::filesystem::path& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return FileState{status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

std::optional<std::vector<BYTE>> ReadStateFile(const std::filesystem::path& path, off_t limit) {
    // A pipe in the file's place must not hold its reader.
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.IsOpen() && errno == ENOENT) {
        return std::nullopt;
    }
    struct stat status {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0) {
        ThrowWord(WordOfErrno(errno));
    }
    Require(S_ISREG(status.st_mode) && status.st_size <= limit, CRYPT_E_FILE_ERROR);
    std::vector<BYTE> bytes(static_cast<std::size_t>(status.st_size));
    if (!state::ReadAll(file.Get(), bytes)) {
        ThrowWord(WordOfErrno(errno));
    }
    return bytes;
}

FolderLock::FolderLock(std::filesystem::path folder, mode_t mode)
    : folder_((MakeFolder(folder, mode), std::move(folder))),
      lock_(OpenLocked(folder_ / kLockName)) {
    Remove(kUnfinishedName);
}

void FolderLock::Write(const std::string& name, std::span<const BYTE> bytes, mode_t mode) const {
    const std::filesystem::path path = folder_ / name;
    const std::filesystem::path unfinished = folder_ / kUnfinishedName;
    const FileDescriptor file(
        open(unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!file.IsOpen() || !state::WriteAll(file.Get(), bytes) || fsync(file.Get()) != 0 ||
        rename(unfinished.c_str(), path.c_str()) != 0) {
        const int error = errno;
        unlink(unfinished.c_str());
        errno = error;
        FailToWrite(path);
    }
    Flush();
}

void FolderLock::Remove(const std::string& name) const {
    const std::filesystem::path path = folder_ / name;
    if (unlink(path.c_str()) != 0) {
        if (errno != ENOENT) {
            FailToWrite(path);
        }
        return;
    }
    Flush();
}

void FolderLock::Flush() const {
    const FileDescriptor folder(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.IsOpen()) {
        state::FlushFolder(folder.Get());
    }
}

}  // namespace capi
