#include "state/state_files.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

namespace state {

namespace {

std::optional<std::filesystem::path> FromEnvironment(const char* name) {
    const char* const value = secure_getenv(name);
    // A relative path would depend on where the process happens to be.
    if (value == nullptr || *value != '/') {
        return std::nullopt;
    }
    return value;
}

std::optional<std::filesystem::path> HomeFolder() {
    if (auto home = FromEnvironment("HOME")) {
        return home;
    }
    std::array<char, 4096> text{};
    passwd entry{};
    passwd* found = nullptr;
    getpwuid_r(geteuid(), &entry, text.data(), text.size(), &found);
    if (found == nullptr || found->pw_dir == nullptr || *found->pw_dir != '/') {
        return std::nullopt;
    }
    return found->pw_dir;
}

bool MakeFolder(const std::filesystem::path& folder, mode_t mode) {
    if (mkdir(folder.c_str(), mode) != 0) {
        return errno == EEXIST;
    }
    const FileDescriptor parent(
        open(folder.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (parent.IsOpen()) {
        FlushFolder(parent.Get());
    }
    return true;
}

}  // namespace

std::optional<std::filesystem::path> UserFolder() {
    if (auto named = FromEnvironment("VELMORIX_HOME")) {
        return named;
    }
    if (const auto data = FromEnvironment("XDG_DATA_HOME")) {
        return *data / "velmorix";
    }
    const auto home = HomeFolder();
    return home ? std::optional(*home / ".local" / "share" / "velmorix") : std::nullopt;
}

std::filesystem::path MachineFolder() {
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

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

FileDescriptor::~FileDescriptor() {
    if (IsOpen()) {
        close(descriptor_);
    }
}

bool MakeFolders(const std::filesystem::path& folder, mode_t mode) {
    if (MakeFolder(folder, mode)) {
        return true;
    }
    if (errno != ENOENT || !folder.has_parent_path() || folder == folder.parent_path()) {
        return false;
    }
    return MakeFolders(folder.parent_path(), mode) && MakeFolder(folder, mode);
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

bool ReadAll(int descriptor, std::span<BYTE> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = read(descriptor, bytes.data(), bytes.size());
        if (count == 0) {
            errno = EIO;
            return false;
        }
        if (count < 0 && errno != EINTR) {
            return false;
        }
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        }
    }
    return true;
}

bool LockWhole(int descriptor) {
    while (flock(descriptor, LOCK_EX) != 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

void FlushFolder(int descriptor) {
    static_cast<void>(fsync(descriptor));
}

}  // namespace state
