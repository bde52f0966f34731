#include "support/file_faults.h"

#include <dirent.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "support/callers.h"

namespace {

constexpr int kDeepest = 64;

enum class Kind { kOther, kTransfer, kLock };

struct State {
    bool isArmed = false;
    bool happened = false;
    std::size_t left = 0;
    file_faults::Fault fault;
    const char* call = "";
    int depth = 0;
    std::array<void*, kDeepest> frames{};
};

thread_local State state;

bool IsFor(Kind kind) {
    if (state.fault.IsShort()) {
        return kind == Kind::kTransfer;
    }
    return state.fault.error != EINTR || kind != Kind::kOther;
}

// Whether this call has the fault, with errno set.
bool Has(const char* call, Kind kind = Kind::kOther) {
    if (!state.isArmed || !IsFor(kind) || (state.left != 0 && --state.left != 0) ||
        (state.happened && !state.fault.stays)) {
        return false;
    }
    if (!state.happened) {
        state.happened = true;
        state.call = call;
        state.isArmed = false;
        state.depth = backtrace(state.frames.data(), kDeepest);
        state.isArmed = true;
    }
    errno = state.fault.error;
    return true;
}

template <typename Function>
Function* Real(const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define REAL(function) Real(#function, &function)

namespace file_faults {

Fail::Fail(std::size_t number, Fault fault) {
    // The first walk over the frames loads a library.
    void* frame = nullptr;
    backtrace(&frame, 1);
    state = State();
    state.left = number;
    state.fault = fault;
    state.isArmed = true;
}

Fail::~Fail() {
    state.isArmed = false;
}

bool Fail::Happened() const {
    return state.happened;
}

std::string LastCall() {
    return state.call;
}

std::vector<std::string> LastCallers() {
    std::vector<std::string> callers;
    const auto depth = static_cast<std::size_t>(state.depth);
    for (const auto& frame : test_support::NameFrames(std::span(state.frames).first(depth))) {
        if (!frame.function.empty()) {
            callers.push_back(frame.function);
        }
    }
    return callers;
}

}  // namespace file_faults

// What follows stands in for the C library's own.
#pragma GCC visibility push(default)

extern "C" {

int open(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0);
    va_end(arguments);
    return Has("open") ? -1 : REAL(open)(path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0);
    va_end(arguments);
    return Has("openat") ? -1 : REAL(openat)(folder, path, flags, mode);
}

int mkostemp(char* path, int flags) {
    return Has("mkostemp") ? -1 : REAL(mkostemp)(path, flags);
}

FILE* fopen(const char* path, const char* mode) {
    return Has("fopen") ? nullptr : REAL(fopen)(path, mode);
}

int close(int descriptor) {
    const bool fails = Has("close");
    const int error = errno;
    const int answer = REAL(close)(descriptor);
    if (!fails) {
        return answer;
    }
    errno = error;
    return -1;
}

ssize_t write(int descriptor, const void* data, std::size_t size) {
    if (!Has("write", Kind::kTransfer)) {
        return REAL(write)(descriptor, data, size);
    }
    return state.fault.IsShort() ? REAL(write)(descriptor, data, std::min<std::size_t>(size, 1))
                                 : -1;
}

ssize_t read(int descriptor, void* data, std::size_t size) {
    if (!Has("read", Kind::kTransfer)) {
        return REAL(read)(descriptor, data, size);
    }
    return state.fault.IsShort() ? REAL(read)(descriptor, data, std::min<std::size_t>(size, 1))
                                 : -1;
}

// What is written here need not come to a disk.
int fsync(int) {
    return Has("fsync") ? -1 : 0;
}

int flock(int descriptor, int operation) noexcept {
    return Has("flock", Kind::kLock) ? -1 : REAL(flock)(descriptor, operation);
}

int mkdir(const char* path, mode_t mode) noexcept {
    return Has("mkdir") ? -1 : REAL(mkdir)(path, mode);
}

int rename(const char* from, const char* to) noexcept {
    return Has("rename") ? -1 : REAL(rename)(from, to);
}

int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
    return Has("renameat") ? -1 : REAL(renameat)(fromFolder, from, toFolder, to);
}

int link(const char* from, const char* to) noexcept {
    return Has("link") ? -1 : REAL(link)(from, to);
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept {
    return Has("linkat") ? -1 : REAL(linkat)(fromFolder, from, toFolder, to, flags);
}

int unlink(const char* path) noexcept {
    return Has("unlink") ? -1 : REAL(unlink)(path);
}

int unlinkat(int folder, const char* path, int flags) noexcept {
    return Has("unlinkat") ? -1 : REAL(unlinkat)(folder, path, flags);
}

int stat(const char* path, struct stat* status) noexcept {
    return Has("stat") ? -1 : REAL(stat)(path, status);
}

int lstat(const char* path, struct stat* status) noexcept {
    return Has("lstat") ? -1 : REAL(lstat)(path, status);
}

int faccessat(int folder, const char* path, int mode, int flags) noexcept {
    return Has("faccessat") ? -1 : REAL(faccessat)(folder, path, mode, flags);
}

int fstat(int descriptor, struct stat* status) noexcept {
    return Has("fstat") ? -1 : REAL(fstat)(descriptor, status);
}

DIR* opendir(const char* path) {
    return Has("opendir") ? nullptr : REAL(opendir)(path);
}

dirent* readdir(DIR* folder) {
    return Has("readdir") ? nullptr : REAL(readdir)(folder);
}

}  // extern "C"

#pragma GCC visibility pop
