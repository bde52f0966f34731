#include "capi/state_files.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "capi/calls.h"

namespace capi {

namespace {

constexpr char kLockName[] = ".lock";
constexpr char kUnfinishedName[] = ".unfinished";
constexpr mode_t kLockMode = 0600;

std::optional<std::filesystem::path> FromEnvironment(const char* name) {
    const char* const value = secure_getenv(name);
    // A relative path would depend on where the process happens to be.
    if (value == nullptr || *value != '/') {
        return std::nullopt;
    }
    return value;
}

std::filesystem::path HomeFolder() {
    if (const auto home = FromEnvironment("HOME")) {
        return *home;
    }
    std::array<char, 4096> text{};
    passwd entry{};
    passwd* found = nullptr;
    getpwuid_r(geteuid(), &entry, text.data(), text.size(), &found);
    Require(found != nullptr && found->pw_dir != nullptr && *found->pw_dir == '/',
            ERROR_PATH_NOT_FOUND);
    return found->pw_dir;
}

[[noreturn]] void FailToWrite(const std::filesystem::path& path) {
    const int error = errno;
    syslog(LOG_ERR, "%s: %s", path.c_str(), std::generic_category().message(error).c_str());
    ThrowWord(WordOfErrno(error));
}

void MakeFolders(const std::filesystem::path& folder, mode_t mode) {
    if (mkdir(folder.c_str(), mode) == 0 || errno == EEXIST) {
        return;
    }
    if (errno != ENOENT || !folder.has_parent_path() || folder == folder.parent_path()) {
        FailToWrite(folder);
    }
    MakeFolders(folder.parent_path(), mode);
    if (mkdir(folder.c_str(), mode) != 0 && errno != EEXIST) {
        FailToWrite(folder);
    }
}

bool WriteAll(int descriptor, std::span<const BYTE> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            return false;
        }
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        }
    }
    return true;
}

FileDescriptor OpenLocked(const std::filesystem::path& path) {
    FileDescriptor lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kLockMode));
    if (!lock.IsOpen()) {
        FailToWrite(path);
    }
    while (flock(lock.Get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
            FailToWrite(path);
        }
    }
    return lock;
}

}  // namespace

std::filesystem::path UserStateFolder() {
    if (const auto named = FromEnvironment("VELMORIX_HOME")) {
        return *named;
    }
    if (const auto data = FromEnvironment("XDG_DATA_HOME")) {
        return *data / "velmorix";
    }
    return HomeFolder() / ".local" / "share" / "velmorix";
}

std::filesystem::path MachineStateFolder() {
    return FromEnvironment("VELMORIX_MACHINE_HOME").value_or("/var/lib/velmorix");
}

LONG WordOfErrno(int error) {
    switch (error) {
        case ENOENT:
            return ERROR_FILE_NOT_FOUND;
        case ENOTDIR:
        case ENAMETOOLONG:
            return ERROR_PATH_NOT_FOUND;
        case EACCES:
        case EPERM:
        case ELOOP:
            return ERROR_ACCESS_DENIED;
        case EROFS:
            return ERROR_WRITE_PROTECT;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return ERROR_DISK_FULL;
        case EMFILE:
        case ENFILE:
            return ERROR_TOO_MANY_OPEN_FILES;
        case ENOMEM:
            return ERROR_NOT_ENOUGH_MEMORY;
        default:
            return CRYPT_E_FILE_ERROR;
    }
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

FileDescriptor::~FileDescriptor() {
    if (IsOpen()) {
        close(descriptor_);
    }
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
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = read(file.Get(), bytes.data() + done, bytes.size() - done);
        Require(count > 0 || (count < 0 && errno == EINTR), CRYPT_E_FILE_ERROR);
        done += static_cast<std::size_t>(count > 0 ? count : 0);
    }
    return bytes;
}

FolderLock::FolderLock(std::filesystem::path folder, mode_t mode)
    : folder_((MakeFolders(folder, mode), std::move(folder))),
      lock_(OpenLocked(folder_ / kLockName)) {
    Remove(kUnfinishedName);
}

void FolderLock::Write(const std::string& name, std::span<const BYTE> bytes, mode_t mode) const {
    const std::filesystem::path path = folder_ / name;
    const std::filesystem::path unfinished = folder_ / kUnfinishedName;
    const FileDescriptor file(
        open(unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!file.IsOpen() || !WriteAll(file.Get(), bytes) || fsync(file.Get()) != 0 ||
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

// The change of the folder itself, which a power failure could otherwise undo.
void FolderLock::Flush() const {
    const FileDescriptor folder(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.IsOpen()) {
        fsync(folder.Get());
    }
}

}  // namespace capi
