// A small file system of a test's own, in a process of its own.
#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

namespace test_support {

// Runs `work` in a process that has 64 KiB of disk at `folder`, which nobody else sees; its
// expectations are told to its standard error. Skips the test where nothing may be mounted.
inline void OnASmallDisk(const std::string& folder, const std::function<void()>& work) {
    constexpr int kNotPermitted = 77;
    const pid_t child = fork();
    if (child == 0) {
        if (unshare(CLONE_NEWNS) != 0 ||
            mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k") != 0) {
            _exit(kNotPermitted);
        }
        work();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == kNotPermitted) {
        GTEST_SKIP() << "this process may mount nothing";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace test_support
