#include "provider/container_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "provider/container_image.h"
#include "provider/container_names.h"
#include "state/state_files.h"

namespace provider {

namespace {

using state::FileDescriptor;

constexpr char kFolderName[] = "keys";
constexpr char kLockName[] = ".lock";
constexpr char kUnfinishedName[] = ".unfinished";
constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;
// The machine's state folder holds public things too.
constexpr mode_t kMachineStateMode = 0755;

std::optional<std::filesystem::path> StateFolder(ContainerScope scope) {
    return scope == ContainerScope::kMachine ? state::MachineFolder() : state::UserFolder();
}

HRESULT Report(const std::filesystem::path& path, HRESULT word, const std::string& what) {
    syslog(LOG_ERR, "%s: %s", path.c_str(), what.c_str());
    return word;
}

HRESULT ReportErrno(const std::filesystem::path& path, int error) {
    return Report(path, state::WordOfErrno(error), std::generic_category().message(error));
}

bool IsTrustedOwner(ContainerScope scope, uid_t owner) {
    return owner == geteuid() || (scope == ContainerScope::kMachine && owner == 0);
}

// S_OK with a descriptor that is not open where there is no folder.
HRESULT OpenFolder(ContainerScope scope, std::filesystem::path* path, FileDescriptor* folder) {
    const std::optional<std::filesystem::path> stateFolder = StateFolder(scope);
    if (!stateFolder.has_value()) {
        return ERROR_PATH_NOT_FOUND;
    }
    *path = *stateFolder / kFolderName;
    FileDescriptor opened(open(path->c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!opened.IsOpen() || fstat(opened.Get(), &status) != 0) {
        return errno == ENOENT ? S_OK : ReportErrno(*path, errno);
    }
    if (!IsTrustedOwner(scope, status.st_uid) || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return Report(*path, NTE_PERM, "is another user's folder, or others may write in it");
    }
    *folder = std::move(opened);
    return S_OK;
}

HRESULT MakeFolder(ContainerScope scope) {
    const std::optional<std::filesystem::path> stateFolder = StateFolder(scope);
    if (!stateFolder.has_value()) {
        return ERROR_PATH_NOT_FOUND;
    }
    const mode_t mode = scope == ContainerScope::kMachine ? kMachineStateMode : kFolderMode;
    const std::filesystem::path folder = *stateFolder / kFolderName;
    if (!state::MakeFolders(*stateFolder, mode) || !state::MakeFolders(folder, kFolderMode)) {
        return ReportErrno(folder, errno);
    }
    return S_OK;
}

class LockedFolder final : public ContainerFolder {
  public:
    LockedFolder(std::filesystem::path path, FileDescriptor folder)
        : path_(std::move(path)), folder_(std::move(folder)), lock_(-1) {}

    HRESULT Lock() {
        lock_ = FileDescriptor(
            openat(folder_.Get(), kLockName, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kFileMode));
        if (!lock_.IsOpen() || !state::LockWhole(lock_.Get())) {
            return ReportErrno(path_ / kLockName, errno);
        }
        RemoveUnfinished();
        return S_OK;
    }

    // A link is refused where the name is taken, which a renaming would not be.
    HRESULT Create(const std::string& fileName, std::span<const BYTE> bytes) override {
        HRESULT status = WriteUnfinished(fileName, bytes);
        if (status == S_OK &&
            linkat(folder_.Get(), kUnfinishedName, folder_.Get(), fileName.c_str(), 0) != 0) {
            status = errno == EEXIST ? NTE_EXISTS : ReportErrno(path_ / fileName, errno);
        }
        RemoveUnfinished();
        state::FlushFolder(folder_.Get());
        return status;
    }

    HRESULT Replace(const std::string& fileName, std::span<const BYTE> bytes) override {
        HRESULT status = WriteUnfinished(fileName, bytes);
        if (status == S_OK &&
            renameat(folder_.Get(), kUnfinishedName, folder_.Get(), fileName.c_str()) != 0) {
            status = ReportErrno(path_ / fileName, errno);
        }
        if (status != S_OK) {
            RemoveUnfinished();
        }
        state::FlushFolder(folder_.Get());
        return status;
    }

    HRESULT Remove(const std::string& fileName) override {
        if (unlinkat(folder_.Get(), fileName.c_str(), 0) != 0) {
            return errno == ENOENT ? NTE_BAD_KEYSET : ReportErrno(path_ / fileName, errno);
        }
        state::FlushFolder(folder_.Get());
        return S_OK;
    }

  private:
    HRESULT WriteUnfinished(const std::string& fileName, std::span<const BYTE> bytes) const {
        const FileDescriptor file(openat(folder_.Get(), kUnfinishedName,
                                         O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                         kFileMode));
        if (!file.IsOpen() || !state::WriteAll(file.Get(), bytes) || fsync(file.Get()) != 0) {
            return ReportErrno(path_ / fileName, errno);
        }
        return S_OK;
    }

    void RemoveUnfinished() const { unlinkat(folder_.Get(), kUnfinishedName, 0); }

    std::filesystem::path path_;
    FileDescriptor folder_;
    FileDescriptor lock_;
};

}  // namespace

HRESULT ReadContainerFile(ContainerScope scope, const std::string& fileName,
                          std::vector<BYTE>* bytes) {
    std::filesystem::path path;
    FileDescriptor folder(-1);
    if (const HRESULT status = OpenFolder(scope, &path, &folder); status != S_OK) {
        return status;
    }
    path /= fileName;
    if (!folder.IsOpen()) {
        return NTE_BAD_KEYSET;
    }
    // A pipe in the file's place must not hold its reader.
    const FileDescriptor file(
        openat(folder.Get(), fileName.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file.IsOpen() && errno == ENOENT) {
        return NTE_BAD_KEYSET;
    }
    if (!file.IsOpen() && errno == ELOOP) {
        return Report(path, NTE_PERM, "is a symbolic link");
    }
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0) {
        return ReportErrno(path, errno);
    }
    if (!S_ISREG(status.st_mode) || status.st_size > off_t{kLargestContainerFile}) {
        return Report(path, NTE_KEYSET_ENTRY_BAD, "is no key container");
    }
    if (!IsTrustedOwner(scope, status.st_uid) || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        return Report(path, NTE_PERM, "is another user's file, or others may open it");
    }
    bytes->resize(static_cast<std::size_t>(status.st_size));
    return state::ReadAll(file.Get(), *bytes) ? S_OK : ReportErrno(path, errno);
}

HRESULT ListContainerFiles(ContainerScope scope, std::vector<std::string>* fileNames) {
    fileNames->clear();
    std::filesystem::path path;
    FileDescriptor folder(-1);
    const HRESULT status = OpenFolder(scope, &path, &folder);
    if (status != S_OK || !folder.IsOpen()) {
        return status;
    }
    if (!state::ListFolder(path, fileNames)) {
        return ReportErrno(path, errno);
    }
    std::erase_if(*fileNames, [](const std::string& name) { return !IsContainerFileName(name); });
    return S_OK;
}

HRESULT ChangeContainerFiles(ContainerScope scope,
                             const std::function<HRESULT(ContainerFolder*)>& change) {
    std::filesystem::path path;
    FileDescriptor folder(-1);
    HRESULT status = OpenFolder(scope, &path, &folder);
    if (status == S_OK && !folder.IsOpen()) {
        status = MakeFolder(scope);
        if (status == S_OK) {
            status = OpenFolder(scope, &path, &folder);
        }
    }
    if (status != S_OK) {
        return status;
    }
    LockedFolder locked(std::move(path), std::move(folder));
    status = locked.Lock();
    return status == S_OK ? change(&locked) : status;
}

HRESULT ContainerFolderPath(ContainerScope scope, std::string* path) {
    const std::optional<std::filesystem::path> stateFolder = StateFolder(scope);
    if (!stateFolder.has_value()) {
        return ERROR_PATH_NOT_FOUND;
    }
    *path = (*stateFolder / kFolderName).string();
    return S_OK;
}

void ReportContainerFile(ContainerScope scope, const std::string& fileName, const char* what) {
    std::string folder;
    static_cast<void>(ContainerFolderPath(scope, &folder));
    syslog(LOG_ERR, "%s/%s: %s", folder.c_str(), fileName.c_str(), what);
}

std::string DefaultContainerName() {
    std::array<char, 4096> text{};
    passwd entry{};
    passwd* found = nullptr;
    getpwuid_r(geteuid(), &entry, text.data(), text.size(), &found);
    if (found == nullptr || found->pw_name == nullptr || *found->pw_name == '\0') {
        return std::to_string(geteuid());
    }
    return found->pw_name;
}

}  // namespace provider
