#include "state/state_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string_view>
#include <utility>

namespace state {

namespace {

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

bool ListFolder(const std::filesystem::path& folder, std::vector<std::string>* names) {
    struct Close {
        void operator()(DIR* opened) const { closedir(opened); }
    };
    const std::unique_ptr<DIR, Close> opened(opendir(folder.c_str()));
    if (opened == nullptr) {
        return false;
    }
    while (true) {
        errno = 0;
        const dirent* const entry = readdir(opened.get());
        if (entry == nullptr) {
            return errno == 0;
        }
        const std::string_view name(entry->d_name);
        if (name != "." && name != "..") {
            names->emplace_back(name);
        }
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
