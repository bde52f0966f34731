#include "mvlpfx/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/interruption.h"
#include "state/state_files.h"

namespace mvlpfx {

namespace {

[[noreturn]] void Fail(const std::string& path, int error) {
    if (error == EEXIST) {
        throw ToolError(ExitCode::kExists, "'" + path + "' exists already", 0,
                        "--force replaces it");
    }
    throw ToolError(ExitCode::kFile, "can't write '" + path + "': " + std::strerror(error), 0,
                    AdviceOfErrno(error));
}

std::string FolderOf(const std::string& path) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    return folder.empty() ? "." : folder.string();
}

// A file of its own name, removed again unless it has taken another.
class TemporaryFile {
  public:
    // Throws ToolError.
    explicit TemporaryFile(const std::string& target)
        : target_(target), path_(target + ".XXXXXX"), file_(mkostemp(path_.data(), O_CLOEXEC)) {
        if (!file_.IsOpen()) {
            Fail(target_, errno);
        }
    }
    ~TemporaryFile() {
        if (file_.IsOpen()) {
            unlink(path_.c_str());
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void Write(std::span<const std::uint8_t> bytes) {
        if (!state::WriteAll(file_.Get(), bytes) || fsync(file_.Get()) != 0) {
            Fail(target_, errno);
        }
    }

    void TakeName(bool replaces) {
        const char* const target = target_.c_str();
        const int result = replaces ? rename(path_.c_str(), target) : link(path_.c_str(), target);
        if (result != 0) {
            Fail(target_, errno);
        }
        const state::FileDescriptor open(
            ::open(FolderOf(target_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (open.IsOpen()) {
            state::FlushFolder(open.Get());
        }
    }

  private:
    std::string target_;
    std::string path_;
    state::FileDescriptor file_;
};

}  // namespace

void RequireWritable(const std::string& path, bool replaces) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0) {
        if (!replaces) {
            Fail(path, EEXIST);
        }
        if (S_ISDIR(status.st_mode)) {
            Fail(path, EISDIR);
        }
    } else if (errno != ENOENT) {
        Fail(path, errno);
    }
    if (faccessat(AT_FDCWD, FolderOf(path).c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
        Fail(path, errno);
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
