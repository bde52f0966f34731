#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "platform/cryptoapi.h"
#include "support/system_log.h"

namespace {

using test_support::SystemLog;
using test_support::SystemLogEntry;

TEST(OutputDebugStringA, SendsToTheSystemLogAtDebugLevel) {
    SystemLog().clear();
    SetLastError(5);
    OutputDebugStringA("one\n");
    OutputDebugStringA("two");
    OutputDebugStringA("100%s %n\n\n");
    OutputDebugStringA("");
    OutputDebugStringA(nullptr);
    const std::vector<SystemLogEntry> expected = {
        {LOG_DEBUG, "one"}, {LOG_DEBUG, "two"}, {LOG_DEBUG, "100%s %n\n"}, {LOG_DEBUG, ""}};
    EXPECT_EQ(SystemLog(), expected);
    EXPECT_EQ(GetLastError(), 5u);
}

TEST(OutputDebugStringA, CutsNothing) {
    SystemLog().clear();
    const std::string text(4096, 'x');
    OutputDebugStringA(text.c_str());
    ASSERT_EQ(SystemLog().size(), 1u);
    EXPECT_EQ(SystemLog()[0].text, text);
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
