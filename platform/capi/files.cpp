#include "capi/files.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <utility>

#include "capi/kernel_objects.h"
#include "capi/state_files.h"

namespace capi {

namespace {

constexpr mode_t kMode = 0600;

[[noreturn]] void ThrowErrno() {
    ThrowWord(WordOfErrno(errno));
}

class File : public KernelObject {
  public:
    explicit File(FileDescriptor descriptor) : descriptor_(std::move(descriptor)) {}
    // A process that was forked meanwhile has the descriptor too, and with it the locks, until they
    // are given up here.
    ~File() override {
        struct flock whole {};
        whole.l_type = F_UNLCK;
        whole.l_whence = SEEK_SET;
        fcntl(descriptor_.Get(), F_OFD_SETLK, &whole);
    }

    int Descriptor() const { return descriptor_.Get(); }

  private:
    FileDescriptor descriptor_;
};

void CheckFile(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        ThrowErrno();
    }
    const bool isTrusted = status.st_uid == geteuid() || status.st_uid == 0;
    // By a second name somebody may have led the writer to a file of his own, as by a link.
    Require(S_ISREG(status.st_mode) && isTrusted && status.st_nlink <= 1, ERROR_ACCESS_DENIED);
}

HANDLE Open(LPCSTR name, bool isWrittenThrough) {
    // A pipe in the file's place must not hold its writer.
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY |
                      (isWrittenThrough ? O_DSYNC : 0);
    FileDescriptor descriptor(open(name, flags, kMode));
    if (!descriptor.IsOpen()) {
        // How a pipe without a reader, a device without a driver and a folder say that they are
        // no files.
        Require(errno != ENXIO && errno != ENODEV && errno != EISDIR, ERROR_ACCESS_DENIED);
        ThrowErrno();
    }
    CheckFile(descriptor.Get());
    return AddObject(std::make_shared<File>(std::move(descriptor)));
}

struct flock RangeOf(const OVERLAPPED& start, DWORD low, DWORD high) {
    constexpr ULONGLONG kFurthest = std::numeric_limits<off_t>::max();
    const ULONGLONG from = ULONGLONG{start.OffsetHigh} << 32 | start.Offset;
    const ULONGLONG count = ULONGLONG{high} << 32 | low;
    Require(from <= kFurthest, ERROR_INVALID_PARAMETER);
    struct flock range {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(from);
    // 0 is as far as files go.
    range.l_len = count > kFurthest - from ? 0 : static_cast<off_t>(count);
    return range;
}

BOOL Lock(const File& file, struct flock range, bool isWaiting) {
    while (fcntl(file.Descriptor(), isWaiting ? F_OFD_SETLKW : F_OFD_SETLK, &range) != 0) {
        Require(errno != EAGAIN && errno != EACCES, ERROR_LOCK_VIOLATION);
        if (errno != EINTR) {
            ThrowErrno();
        }
    }
    return TRUE;
}

int WhenceOf(DWORD method) {
    switch (method) {
        case FILE_BEGIN:
            return SEEK_SET;
        case FILE_CURRENT:
            return SEEK_CUR;
        case FILE_END:
            return SEEK_END;
        default:
            ThrowWord(ERROR_INVALID_PARAMETER);
    }
}

off_t Move(const File& file, LONGLONG distance, DWORD method) {
    const off_t place = lseek(file.Descriptor(), distance, WhenceOf(method));
    Require(place >= 0, ERROR_NEGATIVE_SEEK);
    return place;
}

// A write past the limit would end the process by a signal.
bool IsWithinLimit(off_t start, std::size_t size) {
    rlimit limit{};
    return getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY ||
           (static_cast<rlim_t>(start) <= limit.rlim_cur &&
            size <= limit.rlim_cur - static_cast<rlim_t>(start));
}

void TakeBack(int descriptor, off_t start) {
    struct stat status {};
    const off_t place = lseek(descriptor, 0, SEEK_CUR);
    if (place > start && fstat(descriptor, &status) == 0 && status.st_size == place &&
        ftruncate(descriptor, start) == 0) {
        lseek(descriptor, start, SEEK_SET);
    }
}

void Write(const File& file, std::span<const BYTE> bytes) {
    const off_t start = lseek(file.Descriptor(), 0, SEEK_CUR);
    Require(IsWithinLimit(start, bytes.size()), ERROR_DISK_FULL);
    if (!state::WriteAll(file.Descriptor(), bytes)) {
        const int error = errno;
        TakeBack(file.Descriptor(), start);
        ThrowWord(WordOfErrno(error));
    }
}

}  // namespace

}  // namespace capi

using capi::Answer;
using capi::File;
using capi::Require;
using capi::RequireObject;

DWORD WINAPI GetTempPathA(DWORD nBufferLength, LPSTR lpBuffer) {
    return Answer<DWORD>(0, [&] {
        const char* const named = secure_getenv("TMPDIR");
        std::string path = named != nullptr && *named == '/' ? named : "/tmp";
        if (!path.ends_with('/')) {
            path += '/';
        }
        const auto size = static_cast<DWORD>(path.size());
        if (lpBuffer == nullptr || nBufferLength <= size) {
            return size + 1;
        }
        std::memcpy(lpBuffer, path.c_str(), path.size() + 1);
        return size;
    });
}

HANDLE WINAPI CreateFileA(LPCSTR lpFileName, DWORD dwDesiredAccess, DWORD /*dwShareMode*/,
                          LPSECURITY_ATTRIBUTES /*lpSecurityAttributes*/,
                          DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes,
                          HANDLE hTemplateFile) {
    return Answer<HANDLE>(INVALID_HANDLE_VALUE, [&] {
        Require(lpFileName != nullptr, ERROR_INVALID_PARAMETER);
        Require(dwDesiredAccess == GENERIC_WRITE && dwCreationDisposition == OPEN_ALWAYS &&
                    hTemplateFile == nullptr,
                ERROR_NOT_SUPPORTED);
        return capi::Open(lpFileName, (dwFlagsAndAttributes & FILE_FLAG_WRITE_THROUGH) != 0);
    });
}

BOOL WINAPI LockFileEx(HANDLE hFile, DWORD dwFlags, DWORD dwReserved, DWORD nNumberOfBytesToLockLow,
                       DWORD nNumberOfBytesToLockHigh, LPOVERLAPPED lpOverlapped) {
    return Answer<BOOL>(FALSE, [&] {
        const auto file = RequireObject<File>(hFile);
        Require(dwReserved == 0 && lpOverlapped != nullptr, ERROR_INVALID_PARAMETER);
        Require((dwFlags & LOCKFILE_EXCLUSIVE_LOCK) != 0, ERROR_NOT_SUPPORTED);
        return capi::Lock(
            *file, capi::RangeOf(*lpOverlapped, nNumberOfBytesToLockLow, nNumberOfBytesToLockHigh),
            (dwFlags & LOCKFILE_FAIL_IMMEDIATELY) == 0);
    });
}

DWORD WINAPI SetFilePointer(HANDLE hFile, LONG lDistanceToMove, PLONG lpDistanceToMoveHigh,
                            DWORD dwMoveMethod) {
    return Answer<DWORD>(INVALID_SET_FILE_POINTER, [&] {
        const auto file = RequireObject<File>(hFile);
        if (lpDistanceToMoveHigh != nullptr) {
            const auto distance =
                static_cast<LONGLONG>(ULONGLONG{static_cast<DWORD>(*lpDistanceToMoveHigh)} << 32 |
                                      static_cast<DWORD>(lDistanceToMove));
            const off_t place = capi::Move(*file, distance, dwMoveMethod);
            *lpDistanceToMoveHigh = static_cast<LONG>(place >> 32);
            return static_cast<DWORD>(place);
        }
        const off_t before = capi::Move(*file, 0, FILE_CURRENT);
        const off_t place = capi::Move(*file, lDistanceToMove, dwMoveMethod);
        if (place >= off_t{INVALID_SET_FILE_POINTER}) {
            capi::Move(*file, before, FILE_BEGIN);
            capi::ThrowWord(ERROR_INVALID_PARAMETER);
        }
        return static_cast<DWORD>(place);
    });
}

BOOL WINAPI WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
                      LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped) {
    return Answer<BOOL>(FALSE, [&] {
        const auto file = RequireObject<File>(hFile);
        Require(lpOverlapped == nullptr, ERROR_INVALID_PARAMETER);
        if (lpNumberOfBytesWritten != nullptr) {
            *lpNumberOfBytesWritten = 0;
        }
        capi::Write(*file, {static_cast<const BYTE*>(lpBuffer), nNumberOfBytesToWrite});
        if (lpNumberOfBytesWritten != nullptr) {
            *lpNumberOfBytesWritten = nNumberOfBytesToWrite;
        }
        return TRUE;
    });
}
