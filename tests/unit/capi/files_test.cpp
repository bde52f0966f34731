#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "platform/cryptoapi.h"
#include "support/last_error.h"
#include "support/scoped_environment.h"

namespace {

using test_support::ScopedFolder;
using test_support::ScopedVariable;

std::string TempPath() {
    char path[MAX_PATH] = {};
    const DWORD length = GetTempPathA(sizeof(path), path);
    EXPECT_EQ(length, std::string(path).size());
    return path;
}

TEST(GetTempPathA, IsTheVariablesFolderWithASlash) {
    const ScopedVariable variable("TMPDIR", "/some/where");
    EXPECT_EQ(TempPath(), "/some/where/");
    const ScopedVariable other("TMPDIR", "/else/");
    EXPECT_EQ(TempPath(), "/else/");
}

TEST(GetTempPathA, PassesOverWhatIsNoAbsolutePath) {
    for (const char* value : {"", "relative"}) {
        const ScopedVariable variable("TMPDIR", value);
        EXPECT_EQ(TempPath(), "/tmp/");
    }
    const ScopedVariable none("TMPDIR", std::nullopt);
    EXPECT_EQ(TempPath(), "/tmp/");
}

TEST(GetTempPathA, TellsTheRoomThatItTakes) {
    const ScopedVariable variable("TMPDIR", "/1234");
    char path[] = "unchanged";
    EXPECT_EQ(GetTempPathA(0, nullptr), 7u);
    EXPECT_EQ(GetTempPathA(6, path), 7u);
    EXPECT_STREQ(path, "unchanged");
    EXPECT_EQ(GetTempPathA(7, path), 6u);
    EXPECT_STREQ(path, "/1234/");
}

class Files : public testing::Test {
  protected:
    static HANDLE Open(const std::string& path, DWORD flags = FILE_ATTRIBUTE_NORMAL) {
        return CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_ALWAYS, flags, nullptr);
    }
    static BOOL IsOpened(const std::string& path) { return Open(path) != INVALID_HANDLE_VALUE; }
    static BOOL Lock(HANDLE file, DWORD flags = 0, DWORD start = 0, DWORD count = 0xFFFFFFFF,
                     DWORD countHigh = 0xFFFFFFFF) {
        OVERLAPPED at{};
        at.Offset = start;
        return LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | flags, 0, count, countHigh, &at);
    }
    static BOOL Write(HANDLE file, const std::string& text) {
        DWORD written = 0;
        const BOOL done =
            WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        EXPECT_EQ(written, done ? text.size() : 0);
        return done;
    }
    std::string Content() const {
        std::ifstream file(path_);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    ScopedFolder folder_;
    const std::string path_ = folder_ / "file";
};

TEST_F(Files, AreMadeForTheirOwnerAloneAndWrittenAtTheirEnd) {
    const mode_t before = umask(0);
    HANDLE file = Open(path_, FILE_FLAG_WRITE_THROUGH | FILE_ATTRIBUTE_NORMAL);
    umask(before);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    struct stat status {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_TRUE(Write(file, "first\n"));
    EXPECT_TRUE(CloseHandle(file));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CloseHandle(file));

    file = Open(path_);
    EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_END), 6u);
    EXPECT_TRUE(Write(file, "second\n"));
    EXPECT_TRUE(CloseHandle(file));
    EXPECT_EQ(Content(), "first\nsecond\n");
}

TEST_F(Files, AreRefusedBehindASymbolicLink) {
    std::ofstream(folder_ / "target") << "as it was";
    std::filesystem::create_symlink(folder_ / "target", path_);
    EXPECT_FAILS_WITH(ERROR_ACCESS_DENIED, IsOpened(path_));
    std::filesystem::remove(folder_ / "target");
    EXPECT_FAILS_WITH(ERROR_ACCESS_DENIED, IsOpened(path_));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "target"));
}

TEST_F(Files, AreRefusedUnderASecondName) {
    std::ofstream(folder_ / "target") << "as it was";
    std::filesystem::create_hard_link(folder_ / "target", path_);
    EXPECT_FAILS_WITH(ERROR_ACCESS_DENIED, IsOpened(path_));
    EXPECT_EQ(Content(), "as it was");
    std::filesystem::remove(folder_ / "target");
    EXPECT_TRUE(IsOpened(path_));
}

TEST_F(Files, AreRefusedWhereTheyAreNoRegularOnes) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_FAILS_WITH(ERROR_ACCESS_DENIED, IsOpened(path_));
    const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_FAILS_WITH(ERROR_ACCESS_DENIED, IsOpened(path_));
    close(reader);
    EXPECT_FAILS_WITH(ERROR_ACCESS_DENIED, IsOpened((folder_ / "").string()));
    EXPECT_FAILS_WITH(ERROR_ACCESS_DENIED, IsOpened("/dev/null"));
}

TEST_F(Files, OfAnotherUserAreRefused) {
    constexpr uid_t kSomeone = 12345;
    std::ofstream(path_) << "planted";
    if (chown(path_.c_str(), kSomeone, static_cast<gid_t>(-1)) != 0) {
        GTEST_SKIP() << "this process may not give files away";
    }
    EXPECT_FAILS_WITH(ERROR_ACCESS_DENIED, IsOpened(path_));
    EXPECT_EQ(Content(), "planted");
}

TEST_F(Files, GiveTheirErrorWords) {
    EXPECT_FAILS_WITH(ERROR_FILE_NOT_FOUND, IsOpened(folder_ / "no/file"));
    std::ofstream(path_) << "x";
    EXPECT_FAILS_WITH(ERROR_PATH_NOT_FOUND, IsOpened(path_ + "/below"));
    const auto create = [this](DWORD access, DWORD disposition, HANDLE form) {
        return CreateFileA(path_.c_str(), access, 0, nullptr, disposition, 0, form) !=
               INVALID_HANDLE_VALUE;
    };
    EXPECT_FAILS_WITH(ERROR_NOT_SUPPORTED, create(0x80000000, OPEN_ALWAYS, nullptr));
    EXPECT_FAILS_WITH(ERROR_NOT_SUPPORTED, create(GENERIC_WRITE, 1, nullptr));
    EXPECT_FAILS_WITH(ERROR_NOT_SUPPORTED, create(GENERIC_WRITE, OPEN_ALWAYS, this));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CreateFileA(nullptr, GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr) !=
                          INVALID_HANDLE_VALUE);
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    for (const HANDLE bad : {static_cast<HANDLE>(nullptr), INVALID_HANDLE_VALUE, event}) {
        OVERLAPPED at{};
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, WriteFile(bad, "", 0, nullptr, nullptr));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, LockFileEx(bad, 2, 0, 1, 0, &at));
        SetLastError(0);
        EXPECT_EQ(SetFilePointer(bad, 0, nullptr, FILE_END), DWORD{INVALID_SET_FILE_POINTER});
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    }
    CloseHandle(event);
    const HANDLE file = Open(path_);
    OVERLAPPED at{};
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, LockFileEx(file, 2, 1, 1, 0, &at));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, LockFileEx(file, 2, 0, 1, 0, nullptr));
    EXPECT_FAILS_WITH(ERROR_NOT_SUPPORTED, LockFileEx(file, 0, 0, 1, 0, &at));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, WriteFile(file, "", 0, nullptr, &at));
    CloseHandle(file);
}

TEST_F(Files, HaveAPlaceOfSixtyFourBits) {
    const HANDLE file = Open(path_);
    const auto seek = [file](LONG low, PLONG high, DWORD method) {
        SetLastError(0);
        return SetFilePointer(file, low, high, method);
    };
    EXPECT_EQ(seek(10, nullptr, FILE_BEGIN), 10u);
    EXPECT_EQ(seek(-3, nullptr, FILE_CURRENT), 7u);
    EXPECT_EQ(seek(-8, nullptr, FILE_CURRENT), DWORD{INVALID_SET_FILE_POINTER});
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NEGATIVE_SEEK});
    EXPECT_EQ(seek(0, nullptr, 3), DWORD{INVALID_SET_FILE_POINTER});
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    LONG high = 1;
    EXPECT_EQ(seek(5, &high, FILE_BEGIN), 5u);
    EXPECT_EQ(high, 1);
    // 4 GiB and 5 bytes, which 32 bits can't tell.
    EXPECT_EQ(seek(0, nullptr, FILE_CURRENT), DWORD{INVALID_SET_FILE_POINTER});
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    CloseHandle(file);
}

TEST_F(Files, AreLockedAgainstHandlesOfTheSameProcess) {
    const HANDLE one = Open(path_);
    const HANDLE two = Open(path_);
    EXPECT_TRUE(Lock(one));
    EXPECT_FAILS_WITH(ERROR_LOCK_VIOLATION, Lock(two, LOCKFILE_FAIL_IMMEDIATELY));
    CloseHandle(one);
    EXPECT_TRUE(Lock(two, LOCKFILE_FAIL_IMMEDIATELY));
    CloseHandle(two);
}

TEST_F(Files, AreLockedInPart) {
    const HANDLE one = Open(path_);
    const HANDLE two = Open(path_);
    EXPECT_TRUE(Lock(one, 0, 10, 5, 0));
    EXPECT_TRUE(Lock(two, LOCKFILE_FAIL_IMMEDIATELY, 0, 10, 0));
    EXPECT_FAILS_WITH(ERROR_LOCK_VIOLATION, Lock(two, LOCKFILE_FAIL_IMMEDIATELY, 14, 1, 0));
    EXPECT_TRUE(Lock(two, LOCKFILE_FAIL_IMMEDIATELY, 15));
    CloseHandle(one);
    CloseHandle(two);
}

// A fork that does not go on to another program keeps the descriptor for good.
TEST_F(Files, AreUnlockedByTheirEndWhoeverWasForkedMeanwhile) {
    const HANDLE one = Open(path_);
    ASSERT_TRUE(Lock(one));
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    CloseHandle(one);
    const HANDLE two = Open(path_);
    EXPECT_TRUE(Lock(two, LOCKFILE_FAIL_IMMEDIATELY));
    CloseHandle(two);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST_F(Files, TakeBackWhatPassesTheLimitOfTheProcess) {
    const pid_t child = fork();
    if (child == 0) {
        const rlimit limit{8, 8};
        setrlimit(RLIMIT_FSIZE, &limit);
        const HANDLE file = Open(path_);
        const bool isRight = Write(file, "12345") && !Write(file, "6789") &&
                             GetLastError() == ERROR_DISK_FULL && Write(file, "678");
        _exit(isRight ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Content(), "12345678");
}

TEST_F(Files, LockForOneOfTheThreadsAtATime) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 200;
    std::atomic<int> holders{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const HANDLE file = Open(path_);
                ASSERT_TRUE(Lock(file));
                EXPECT_EQ(++holders, 1);
                EXPECT_NE(SetFilePointer(file, 0, nullptr, FILE_END),
                          DWORD{INVALID_SET_FILE_POINTER});
                EXPECT_TRUE(Write(file, "12345\n"));
                --holders;
                EXPECT_TRUE(CloseHandle(file));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Content().size(), 6u * kThreads * kRounds);
}

}  // namespace
