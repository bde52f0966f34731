#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "support/last_error.h"
#include "support/scoped_environment.h"

namespace {

constexpr char kKey[] = "SOFTWARE\\Logs\\module";

std::string Level(int level, const std::string& more = "") {
    return "['SOFTWARE\\Logs\\module']\nlevel = " + std::to_string(level) + "\n" + more;
}

class Notification : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_QUERY_VALUE | KEY_NOTIFY, &key_),
                  ERROR_SUCCESS);
        event_ = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        ASSERT_NE(event_, nullptr);
    }
    void TearDown() override {
        CloseHandle(event_);
        RegCloseKey(key_);
    }
    LSTATUS Watch(DWORD filter = REG_NOTIFY_CHANGE_LAST_SET, BOOL subtree = FALSE) {
        return RegNotifyChangeKeyValue(key_, subtree, filter, event_, TRUE);
    }
    bool IsSignalled() const { return WaitForSingleObject(event_, 0) == WAIT_OBJECT_0; }
    DWORD Read() const {
        DWORD level = 0;
        DWORD size = sizeof(level);
        RegQueryValueExW(key_, L"level", nullptr, nullptr, reinterpret_cast<BYTE*>(&level), &size);
        return level;
    }

    test_support::ScopedSettings settings_{Level(1)};
    HKEY key_ = nullptr;
    HANDLE event_ = nullptr;
};

TEST_F(Notification, TellsOfAChangedValueOnceAndShowsIt) {
    ASSERT_EQ(Watch(), ERROR_SUCCESS);
    EXPECT_FALSE(IsSignalled());
    settings_.Write(Level(2));
    EXPECT_TRUE(IsSignalled());
    EXPECT_TRUE(IsSignalled());
    EXPECT_EQ(Read(), 2u);
    ASSERT_TRUE(ResetEvent(event_));
    settings_.Write(Level(3));
    EXPECT_FALSE(IsSignalled());
    EXPECT_EQ(Read(), 2u);
    // The change that nobody watched for is told by the next watch.
    ASSERT_EQ(Watch(), ERROR_SUCCESS);
    EXPECT_TRUE(IsSignalled());
    EXPECT_EQ(Read(), 3u);
}

TEST_F(Notification, IsSilentAboutOtherKeysAndTheSameValues) {
    ASSERT_EQ(Watch(), ERROR_SUCCESS);
    settings_.Write(Level(1, "['SOFTWARE\\Logs\\other']\nlevel = 5\n"));
    EXPECT_FALSE(IsSignalled());
    settings_.Write(Level(1, "['SOFTWARE\\Logs\\module\\below']\nlevel = 5\n"));
    EXPECT_FALSE(IsSignalled());
}

TEST_F(Notification, TellsOfKeysBelowWhenAsked) {
    ASSERT_EQ(Watch(REG_NOTIFY_CHANGE_NAME), ERROR_SUCCESS);
    settings_.Write(Level(1, "['SOFTWARE\\Logs\\module\\below']\nlevel = 5\n"));
    EXPECT_TRUE(IsSignalled());
    ASSERT_TRUE(ResetEvent(event_));
    ASSERT_EQ(Watch(REG_NOTIFY_CHANGE_LAST_SET, TRUE), ERROR_SUCCESS);
    settings_.Write(Level(1, "['SOFTWARE\\Logs\\module\\below']\nlevel = 6\n"));
    EXPECT_TRUE(IsSignalled());
}

TEST_F(Notification, EmptiesAKeyWhoseFileGoes) {
    ASSERT_EQ(Watch(), ERROR_SUCCESS);
    std::filesystem::remove(settings_.Path());
    EXPECT_TRUE(IsSignalled());
    EXPECT_EQ(Read(), 0u);
    ASSERT_TRUE(ResetEvent(event_));
    ASSERT_EQ(Watch(), ERROR_SUCCESS);
    settings_.Write(Level(7));
    EXPECT_TRUE(IsSignalled());
    EXPECT_EQ(Read(), 7u);
}

TEST_F(Notification, FollowsLinksToTheFileInOtherFolders) {
    const test_support::ScopedFolder near;
    const test_support::ScopedFolder far;
    const auto write = [&far](int level) {
        std::ofstream(far / "next.toml") << Level(level);
        std::filesystem::rename(far / "next.toml", far / "settings.toml");
    };
    write(1);
    std::filesystem::create_symlink(near / "link.toml", settings_.Path().string() + ".link");
    std::filesystem::create_symlink(far / "settings.toml", near / "link.toml");
    std::filesystem::rename(settings_.Path().string() + ".link", settings_.Path());
    ASSERT_EQ(Watch(), ERROR_SUCCESS);
    EXPECT_FALSE(IsSignalled());

    write(2);
    EXPECT_TRUE(IsSignalled());
    EXPECT_EQ(Read(), 2u);
    ASSERT_TRUE(ResetEvent(event_));

    ASSERT_EQ(Watch(), ERROR_SUCCESS);
    std::filesystem::remove(far / "settings.toml");
    EXPECT_TRUE(IsSignalled());
    EXPECT_EQ(Read(), 0u);
    ASSERT_TRUE(ResetEvent(event_));

    // A link that leads nowhere tells where the file may appear.
    ASSERT_EQ(Watch(), ERROR_SUCCESS);
    write(3);
    EXPECT_TRUE(IsSignalled());
    EXPECT_EQ(Read(), 3u);
}

TEST_F(Notification, WakesAThreadThatWaits) {
    ASSERT_EQ(Watch(), ERROR_SUCCESS);
    std::thread waiting([this] { EXPECT_EQ(WaitForSingleObject(event_, INFINITE), 0u); });
    settings_.Write(Level(2));
    waiting.join();
    ASSERT_TRUE(ResetEvent(event_));
    std::thread blocked([this] {
        EXPECT_EQ(RegNotifyChangeKeyValue(key_, FALSE, REG_NOTIFY_CHANGE_LAST_SET, nullptr, FALSE),
                  ERROR_SUCCESS);
    });
    settings_.Write(Level(3));
    blocked.join();
    EXPECT_EQ(Read(), 3u);
}

// Parent and child have the same descriptors until they take some of their own.
TEST_F(Notification, TellsAForkedProcessAndItsParent) {
    for (const bool isChildFirst : {true, false}) {
        const DWORD level = isChildFirst ? 2 : 3;
        ASSERT_TRUE(ResetEvent(event_));
        ASSERT_EQ(Watch(), ERROR_SUCCESS);
        int start[2];
        ASSERT_EQ(pipe(start), 0);
        const pid_t child = fork();
        if (child == 0) {
            char go = 0;
            const bool isStarted = read(start[0], &go, 1) == 1;
            _exit(isStarted && IsSignalled() && Read() == level && ResetEvent(event_) &&
                          !IsSignalled()
                      ? 0
                      : 1);
        }
        settings_.Write(Level(static_cast<int>(level)));
        int status = 1;
        if (!isChildFirst) {
            EXPECT_TRUE(IsSignalled());
        }
        EXPECT_EQ(write(start[1], "g", 1), 1);
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << isChildFirst;
        EXPECT_TRUE(IsSignalled()) << isChildFirst;
        EXPECT_EQ(Read(), level);
        close(start[0]);
        close(start[1]);
    }
}

TEST_F(Notification, GivesItsErrorWords) {
    EXPECT_EQ(Watch(0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Watch(0x100), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegNotifyChangeKeyValue(key_, FALSE, 4, nullptr, TRUE), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegNotifyChangeKeyValue(key_, FALSE, 4, key_, TRUE), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegNotifyChangeKeyValue(nullptr, FALSE, 4, event_, TRUE), ERROR_INVALID_HANDLE);
    HKEY unwatched = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_QUERY_VALUE, &unwatched),
              ERROR_SUCCESS);
    EXPECT_EQ(RegNotifyChangeKeyValue(unwatched, FALSE, 4, event_, TRUE), ERROR_ACCESS_DENIED);
    RegCloseKey(unwatched);
}

TEST(Events, AreSetResetAndClosed) {
    HANDLE const manual = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE const once = CreateEventA(nullptr, FALSE, TRUE, nullptr);
    EXPECT_EQ(WaitForSingleObject(manual, 0), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(WaitForSingleObject(manual, 1), DWORD{WAIT_TIMEOUT});
    ASSERT_TRUE(SetEvent(manual));
    EXPECT_EQ(WaitForSingleObject(manual, INFINITE), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(manual, 0), DWORD{WAIT_OBJECT_0});
    ASSERT_TRUE(ResetEvent(manual));
    EXPECT_EQ(WaitForSingleObject(manual, 0), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(WaitForSingleObject(once, 0), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(once, 0), DWORD{WAIT_TIMEOUT});
    EXPECT_TRUE(CloseHandle(manual));
    EXPECT_TRUE(CloseHandle(once));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CloseHandle(manual));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, SetEvent(nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, ResetEvent(manual));
    SetLastError(0);
    EXPECT_EQ(WaitForSingleObject(manual, 0), DWORD{WAIT_FAILED});
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_FAILS_WITH(ERROR_NOT_SUPPORTED, CreateEventA(nullptr, TRUE, FALSE, "name"));
}

TEST(RegEnumKeyExA, NamesTheKeysBelow) {
    const test_support::ScopedSettings settings(
        "['SOFTWARE\\Logs\\two']\n['SOFTWARE\\Logs\\one']\n['SOFTWARE\\Logs\\one\\deep']\n");
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Logs", 0, KEY_READ, &key),
              ERROR_SUCCESS);
    char name[4];
    DWORD size = sizeof(name);
    EXPECT_EQ(RegEnumKeyExA(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_STREQ(name, "one");
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(RegEnumKeyExA(key, 1, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_MORE_DATA);
    size = sizeof(name);
    EXPECT_EQ(RegEnumKeyExA(key, 1, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_STREQ(name, "two");
    EXPECT_EQ(RegEnumKeyExA(key, 2, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(RegEnumKeyExA(key, 0, nullptr, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_INVALID_PARAMETER);
    RegCloseKey(key);
    EXPECT_EQ(RegEnumKeyExA(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_INVALID_HANDLE);
}

TEST(RegQueryValueExW, GivesWideText) {
    const test_support::ScopedSettings settings("['SOFTWARE\\Logs']\n'имя' = 'текст'\n");
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Logs", 0, KEY_QUERY_VALUE, &key),
              ERROR_SUCCESS);
    wchar_t text[6];
    DWORD size = 5;
    DWORD type = 0;
    EXPECT_EQ(RegQueryValueExW(key, L"имя", nullptr, &type, reinterpret_cast<BYTE*>(text), &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(size, sizeof(text));
    EXPECT_EQ(RegQueryValueExW(key, L"имя", nullptr, &type, reinterpret_cast<BYTE*>(text), &size),
              ERROR_SUCCESS);
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_STREQ(text, L"текст");
    EXPECT_EQ(RegQueryValueExW(key, L"other", nullptr, nullptr, nullptr, &size),
              ERROR_FILE_NOT_FOUND);
    RegCloseKey(key);
}

}  // namespace
