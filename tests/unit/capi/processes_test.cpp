#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/cryptoapi.h"

namespace {

struct SystemLogEntry {
    int priority;
    std::string text;

    bool operator==(const SystemLogEntry&) const = default;
};

std::vector<SystemLogEntry> systemLog;

void Note(int priority, const char* format, va_list arguments) {
    char text[8192];
    std::vsnprintf(text, sizeof(text), format, arguments);
    systemLog.push_back({priority, text});
}

}  // namespace

// In the place of the C library's, under both names that a compiler may call it by.
extern "C" {

[[gnu::visibility("default")]] void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Note(priority, format, arguments);
    va_end(arguments);
}

[[gnu::visibility("default")]] void __syslog_chk(int priority, int /*flag*/, const char* format,
                                                 ...);
void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Note(priority, format, arguments);
    va_end(arguments);
}

}  // extern "C"

namespace {

TEST(OutputDebugStringA, SendsToTheSystemLogAtDebugLevel) {
    systemLog.clear();
    SetLastError(5);
    OutputDebugStringA("one\n");
    OutputDebugStringA("two");
    OutputDebugStringA("100%s %n\n\n");
    OutputDebugStringA("");
    OutputDebugStringA(nullptr);
    const std::vector<SystemLogEntry> expected = {
        {LOG_DEBUG, "one"}, {LOG_DEBUG, "two"}, {LOG_DEBUG, "100%s %n\n"}, {LOG_DEBUG, ""}};
    EXPECT_EQ(systemLog, expected);
    EXPECT_EQ(GetLastError(), 5u);
}

TEST(OutputDebugStringA, CutsNothing) {
    systemLog.clear();
    const std::string text(4096, 'x');
    OutputDebugStringA(text.c_str());
    ASSERT_EQ(systemLog.size(), 1u);
    EXPECT_EQ(systemLog[0].text, text);
}

TEST(GetCurrentProcessId, IsTheSystemsNumber) {
    EXPECT_EQ(GetCurrentProcessId(), static_cast<DWORD>(getpid()));
}

TEST(GetCurrentThreadId, IsTheSystemsNumberOfEachThread) {
    // That of a process's first thread is the process's.
    EXPECT_EQ(GetCurrentThreadId(), static_cast<DWORD>(getpid()));
    std::thread([] { EXPECT_NE(GetCurrentThreadId(), static_cast<DWORD>(getpid())); }).join();
}

TEST(ErrnoAccess, ReadsAndWritesTheThreadsErrno) {
    errno = ENOENT;
    int value = 0;
    EXPECT_EQ(_get_errno(&value), 0);
    EXPECT_EQ(value, ENOENT);
    EXPECT_EQ(_set_errno(EIO), 0);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(_get_errno(nullptr), EINVAL);
    EXPECT_EQ(errno, EINVAL);
}

}  // namespace
