#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "provider/container_files.h"
#include "provider/container_image.h"
#include "provider/container_names.h"
#include "state/file_security_windows.h"
#include "state/state_folders.h"

namespace provider {

namespace {

constexpr wchar_t kFolderName[] = L"keys";
constexpr wchar_t kLockName[] = L".lock";
constexpr wchar_t kUnfinishedName[] = L".unfinished";
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

std::optional<std::filesystem::path> KeyFolder(ContainerScope scope) {
    const auto state =
        scope == ContainerScope::kMachine ? state::MachineFolder() : state::UserFolder();
    return state ? std::optional(*state / kFolderName) : std::nullopt;
}

HRESULT WordOf(DWORD error) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_ACCESS_DENIED:
        case ERROR_WRITE_PROTECT:
        case ERROR_DISK_FULL:
        case ERROR_TOO_MANY_OPEN_FILES:
        case ERROR_NOT_ENOUGH_MEMORY:
            return static_cast<HRESULT>(error);
        case ERROR_DIRECTORY:
            return ERROR_PATH_NOT_FOUND;
        default:
            return CRYPT_E_FILE_ERROR;
    }
}

// The system's text conversion, which std::filesystem does not use.
std::string AnsiPath(const std::filesystem::path& path) {
    const int size = WideCharToMultiByte(CP_ACP, 0, path.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, path.c_str(), -1, text.data(), size, nullptr, nullptr);
    return text.c_str();
}

void WriteEvent(const std::string& text) {
    const HANDLE log = RegisterEventSourceA(nullptr, "Velmorix");
    if (log != nullptr) {
        LPCSTR line = text.c_str();
        ReportEventA(log, EVENTLOG_ERROR_TYPE, 0, 0, nullptr, 1, 0, &line, nullptr);
        DeregisterEventSource(log);
    }
}

HRESULT Report(const std::filesystem::path& path, HRESULT word, const std::string& what) {
    WriteEvent(AnsiPath(path) + ": " + what);
    return word;
}

HRESULT ReportError(const std::filesystem::path& path, DWORD error) {
    return Report(path, WordOf(error), std::system_category().message(static_cast<int>(error)));
}

bool IsMissing(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

// A link in the file's or the folder's place is opened itself, and so is seen.
state::File OpenItself(const std::filesystem::path& path, DWORD access, DWORD disposition,
                       const state::PrivateAccess* privateAccess) {
    SECURITY_ATTRIBUTES attributes{sizeof(attributes), nullptr, FALSE};
    attributes.lpSecurityDescriptor =
        privateAccess == nullptr ? nullptr : privateAccess->Descriptor();
    return state::File(CreateFileW(path.c_str(), access, kShareAll, &attributes, disposition,
                                   FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT,
                                   nullptr));
}

// S_OK with `*isThere` false where there is no folder.
HRESULT CheckFolder(const std::filesystem::path& path, bool* isThere) {
    const state::File folder =
        OpenItself(path, READ_CONTROL | FILE_READ_ATTRIBUTES, OPEN_EXISTING, nullptr);
    BY_HANDLE_FILE_INFORMATION information{};
    *isThere = folder.IsOpen();
    if (!folder.IsOpen() || !GetFileInformationByHandle(folder.Get(), &information)) {
        const DWORD error = GetLastError();
        return !folder.IsOpen() && IsMissing(error) ? S_OK : ReportError(path, error);
    }
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        return Report(path, ERROR_PATH_NOT_FOUND, "is no folder");
    }
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ||
        !state::IsPrivate(folder, FILE_ADD_FILE | FILE_ADD_SUBDIRECTORY | FILE_DELETE_CHILD)) {
        return Report(path, NTE_PERM, "is another user's folder, or others may write in it");
    }
    return S_OK;
}

HRESULT MakeFolder(const std::filesystem::path& path, const state::PrivateAccess& access) {
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    SECURITY_ATTRIBUTES attributes{sizeof(attributes), access.Descriptor(), FALSE};
    if (!CreateDirectoryW(path.c_str(), &attributes) && GetLastError() != ERROR_ALREADY_EXISTS) {
        return ReportError(path, GetLastError());
    }
    return S_OK;
}

// A name whose file another process has open for reading can't be taken until it is closed, which
// is a matter of microseconds.
template <typename Change>
DWORD Insist(Change change) {
    constexpr int kTries = 100;
    constexpr DWORD kPause = 10;
    for (int i = 0; !change(); ++i) {
        const DWORD error = GetLastError();
        if ((error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION) || i == kTries) {
            return error;
        }
        Sleep(kPause);
    }
    return ERROR_SUCCESS;
}

class LockedFolder final : public ContainerFolder {
  public:
    LockedFolder(std::filesystem::path path, const state::PrivateAccess& access)
        : path_(std::move(path)), access_(access) {}

    HRESULT Lock() {
        lock_ = OpenItself(path_ / kLockName, GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS, &access_);
        OVERLAPPED start{};
        if (!lock_.IsOpen() || !LockFileEx(lock_.Get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &start)) {
            return ReportError(path_ / kLockName, GetLastError());
        }
        RemoveUnfinished();
        return S_OK;
    }

    // Without MOVEFILE_REPLACE_EXISTING a name that is taken stays as it is.
    HRESULT Create(const std::string& fileName, std::span<const BYTE> bytes) override {
        return Write(fileName, bytes, MOVEFILE_WRITE_THROUGH);
    }

    HRESULT Replace(const std::string& fileName, std::span<const BYTE> bytes) override {
        return Write(fileName, bytes, MOVEFILE_WRITE_THROUGH | MOVEFILE_REPLACE_EXISTING);
    }

    HRESULT Remove(const std::string& fileName) override {
        const std::filesystem::path path = path_ / fileName;
        const DWORD error = Insist([&] { return DeleteFileW(path.c_str()) != FALSE; });
        if (error == ERROR_SUCCESS) {
            return S_OK;
        }
        return IsMissing(error) ? NTE_BAD_KEYSET : ReportError(path, error);
    }

  private:
    HRESULT Write(const std::string& fileName, std::span<const BYTE> bytes, DWORD moveFlags) {
        const std::filesystem::path unfinished = path_ / kUnfinishedName;
        const std::filesystem::path path = path_ / fileName;
        HRESULT status = WriteUnfinished(path, bytes);
        if (status == S_OK) {
            const DWORD error = Insist(
                [&] { return MoveFileExW(unfinished.c_str(), path.c_str(), moveFlags) != FALSE; });
            if (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS) {
                status = NTE_EXISTS;
            } else if (error != ERROR_SUCCESS) {
                status = ReportError(path, error);
            }
        }
        if (status != S_OK) {
            RemoveUnfinished();
        }
        return status;
    }

    HRESULT WriteUnfinished(const std::filesystem::path& path, std::span<const BYTE> bytes) const {
        const state::File file =
            OpenItself(path_ / kUnfinishedName, GENERIC_WRITE, CREATE_NEW, &access_);
        DWORD written = 0;
        if (!file.IsOpen() ||
            !WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                       nullptr) ||
            !FlushFileBuffers(file.Get())) {
            return ReportError(path, GetLastError());
        }
        return written == bytes.size() ? S_OK : ReportError(path, ERROR_DISK_FULL);
    }

    void RemoveUnfinished() const { DeleteFileW((path_ / kUnfinishedName).c_str()); }

    std::filesystem::path path_;
    const state::PrivateAccess& access_;
    // Closing it gives the lock back.
    state::File lock_;
};

}  // namespace

HRESULT ReadContainerFile(ContainerScope scope, const std::string& fileName,
                          std::vector<BYTE>* bytes) {
    const std::optional<std::filesystem::path> folder = KeyFolder(scope);
    if (!folder.has_value()) {
        return ERROR_PATH_NOT_FOUND;
    }
    bool isThere = false;
    if (const HRESULT status = CheckFolder(*folder, &isThere); status != S_OK || !isThere) {
        return status == S_OK ? NTE_BAD_KEYSET : status;
    }
    const std::filesystem::path path = *folder / fileName;
    const state::File file = OpenItself(path, GENERIC_READ, OPEN_EXISTING, nullptr);
    BY_HANDLE_FILE_INFORMATION information{};
    if (!file.IsOpen() || !GetFileInformationByHandle(file.Get(), &information)) {
        const DWORD error = GetLastError();
        return !file.IsOpen() && IsMissing(error) ? NTE_BAD_KEYSET : ReportError(path, error);
    }
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return Report(path, NTE_PERM, "is a symbolic link");
    }
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ||
        information.nFileSizeHigh != 0 || information.nFileSizeLow > kLargestContainerFile) {
        return Report(path, NTE_KEYSET_ENTRY_BAD, "is no key container");
    }
    if (!state::IsPrivate(file, FILE_ALL_ACCESS)) {
        return Report(path, NTE_PERM, "is another user's file, or others may open it");
    }
    bytes->resize(information.nFileSizeLow);
    DWORD read = 0;
    if (!ReadFile(file.Get(), bytes->data(), information.nFileSizeLow, &read, nullptr)) {
        return ReportError(path, GetLastError());
    }
    return read == bytes->size() ? S_OK : ReportError(path, ERROR_HANDLE_EOF);
}

HRESULT ListContainerFiles(ContainerScope scope, std::vector<std::string>* fileNames) {
    fileNames->clear();
    const std::optional<std::filesystem::path> folder = KeyFolder(scope);
    if (!folder.has_value()) {
        return ERROR_PATH_NOT_FOUND;
    }
    bool isThere = false;
    if (const HRESULT status = CheckFolder(*folder, &isThere); status != S_OK || !isThere) {
        return status;
    }
    std::error_code error;
    std::filesystem::directory_iterator entry(*folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::string name = entry->path().filename().string();
        if (IsContainerFileName(name)) {
            fileNames->push_back(std::move(name));
        }
    }
    return error ? Report(*folder, CRYPT_E_FILE_ERROR, error.message()) : S_OK;
}

HRESULT ChangeContainerFiles(ContainerScope scope,
                             const std::function<HRESULT(ContainerFolder*)>& change) {
    const std::optional<std::filesystem::path> folder = KeyFolder(scope);
    const state::PrivateAccess access;
    if (!folder.has_value() || access.Descriptor() == nullptr) {
        return folder.has_value() ? NTE_FAIL : HRESULT{ERROR_PATH_NOT_FOUND};
    }
    bool isThere = false;
    HRESULT status = CheckFolder(*folder, &isThere);
    if (status == S_OK && !isThere) {
        status = MakeFolder(*folder, access);
        if (status == S_OK) {
            status = CheckFolder(*folder, &isThere);
        }
    }
    if (status != S_OK) {
        return status;
    }
    LockedFolder locked(*folder, access);
    status = locked.Lock();
    return status == S_OK ? change(&locked) : status;
}

HRESULT ContainerFolderPath(ContainerScope scope, std::string* path) {
    const std::optional<std::filesystem::path> folder = KeyFolder(scope);
    if (!folder.has_value()) {
        return ERROR_PATH_NOT_FOUND;
    }
    *path = AnsiPath(*folder);
    return S_OK;
}

void ReportContainerFile(ContainerScope scope, const std::string& fileName, const char* what) {
    std::string folder;
    static_cast<void>(ContainerFolderPath(scope, &folder));
    WriteEvent(folder + '\\' + fileName + ": " + what);
}

std::string DefaultContainerName() {
    constexpr DWORD kLongestUserName = 256;
    std::array<char, kLongestUserName + 1> name{};
    DWORD size = name.size();
    return GetUserNameA(name.data(), &size) ? std::string(name.data()) : std::string("default");
}

}  // namespace provider
