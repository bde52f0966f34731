#include "mvlpfx/exit_codes.h"
#include "mvlpfx/handles.h"
#include "mvlpfx/interruption.h"
#include "mvlpfx/output_file.h"
#include "state/file_security_windows.h"

#include <array>
#include <random>
#include <system_error>

namespace mvlpfx {

namespace {

[[noreturn]] void Fail(const std::string& path, DWORD error) {
    if (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS) {
        throw ToolError(ExitCode::kExists, "'" + path + "' exists already", 0,
                        "--force replaces it");
    }
    throw ToolError(ExitCode::kFile, "can't write '" + path + "': " +
                                         std::system_category().message(static_cast<int>(error)));
}

std::string TemporaryName(const std::string& target) {
    std::random_device random;
    std::array<char, 16> suffix{};
    std::snprintf(suffix.data(), suffix.size(), ".%08x", random());
    return target + suffix.data();
}

// A file of its own name, removed again unless it has taken another.
class TemporaryFile {
  public:
    // Throws ToolError.
    explicit TemporaryFile(const std::string& target)
        : target_(target), path_(TemporaryName(target)) {
        const state::PrivateAccess access;
        SECURITY_ATTRIBUTES attributes{sizeof(attributes), access.Descriptor(), FALSE};
        file_ = state::File(
            CreateFileA(path_.c_str(), GENERIC_WRITE, 0, &attributes, CREATE_NEW, 0, nullptr));
        if (!file_.IsOpen()) {
            Fail(target_, GetLastError());
        }
    }
    ~TemporaryFile() {
        Close();
        DeleteFileA(path_.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void Write(std::span<const std::uint8_t> bytes) {
        DWORD written = 0;
        if (!WriteFile(file_.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                       nullptr) ||
            !FlushFileBuffers(file_.Get())) {
            Fail(target_, GetLastError());
        }
        if (written != bytes.size()) {
            Fail(target_, ERROR_DISK_FULL);
        }
    }

    void TakeName(bool replaces) {
        Close();
        const DWORD flags =
            MOVEFILE_WRITE_THROUGH | (replaces ? DWORD{MOVEFILE_REPLACE_EXISTING} : 0);
        if (!MoveFileExA(path_.c_str(), target_.c_str(), flags)) {
            Fail(target_, GetLastError());
        }
    }

  private:
    void Close() { file_ = state::File(); }

    std::string target_;
    std::string path_;
    state::File file_;
};

}  // namespace

void RequireWritable(const std::string& path, bool replaces) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) {
        if (!replaces) {
            Fail(path, ERROR_ALREADY_EXISTS);
        }
        if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            Fail(path, ERROR_ACCESS_DENIED);
        }
    } else if (GetLastError() != ERROR_FILE_NOT_FOUND) {
        Fail(path, GetLastError());
    }
}

void WriteOutputFile(const std::string& path, std::span<const std::uint8_t> bytes, bool replaces) {
    DeferSignals();
    TemporaryFile file(path);
    file.Write(bytes);
    ThrowIfInterrupted();
    file.TakeName(replaces);
}

}  // namespace mvlpfx
