// Threads that log while the settings change under them.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <barrier>
#include <cstddef>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/in_threads.h"
#include "support/open_handles.h"
#include "support/test_log.h"

namespace {

using test_support::InThreads;
using test_support::LogSettings;
using test_support::LogSurroundings;
using test_support::OpenHandles;
using test_support::TestLog;

constexpr int kThreads = 6;

std::multiset<std::string> LinesOf(const std::string& path) {
    std::istringstream content(test_support::ContentOf(path));
    std::multiset<std::string> lines;
    for (std::string line; std::getline(content, line);) {
        lines.insert(line);
    }
    return lines;
}

// While the name of the file and the length of lines change: every line is whole and in one of the
// files. The lines of the second half come after the settings have gone on to other files.
TEST(LogThreads, LoseNothingWhileTheSettingsChangeUnderThem) {
    constexpr int kRounds = 200;
    LogSurroundings surroundings;
    const auto settings = [&](int half, int i) -> LogSettings {
        return {{"file_level", 8},
                {"file_field", 0x10},
                {"file_max", i % 2 == 0 ? 80 : 2048},
                {"file_filename", surroundings.Path(std::to_string(half * 2 + i % 2))}};
    };
    surroundings.Set(settings(0, 0));
    TestLog log;
    log.Start();
    std::atomic<int> atHalf = 0;
    std::atomic<bool> isSecondHalf = false;
    std::atomic<bool> isDone = false;
    std::thread administrator([&] {
        for (int i = 1; !isDone; ++i) {
            const bool isSecond = atHalf == kThreads;
            surroundings.Set(settings(isSecond ? 1 : 0, i));
            isSecondHalf = isSecond;
            std::this_thread::yield();
        }
    });
    InThreads(kThreads, [&](int thread) {
        for (int i = 0; i < kRounds; ++i) {
            if (i == kRounds / 2) {
                ++atHalf;
                while (!isSecondHalf) {
                    std::this_thread::yield();
                }
            }
            log.Say((std::to_string(thread) + " line " + std::to_string(i)).c_str());
        }
    });
    isDone = true;
    administrator.join();
    std::multiset<std::string> found;
    for (const int half : {0, 1}) {
        const std::size_t before = found.size();
        for (const int file : {0, 1}) {
            found.merge(LinesOf(surroundings.Path(std::to_string(half * 2 + file))));
        }
        EXPECT_GT(found.size(), before) << half;
    }
    std::multiset<std::string> expected;
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int i = 0; i < kRounds; ++i) {
            expected.insert(std::to_string(thread) + " line " + std::to_string(i));
        }
    }
    EXPECT_EQ(found, expected);
}

TEST(LogThreads, ReloadAtOnceAndReadWholeNames) {
    constexpr std::size_t kRounds = 300;
    LogSurroundings surroundings(LogSettings{{"file_filename", "/a"}});
    const std::array<LogSettings, 3> settings = {LogSettings{{"file_filename", "/a/longer/name"}},
                                                 LogSettings{{"file_filename", "/a"}},
                                                 LogSettings{{"level", 8}}};
    TestLog log;
    log.Start();
    const std::set<std::string> names = {"/a", "/a/longer/name", surroundings.Path()};
    std::array<std::set<std::string>, kThreads> seen;
    InThreads(kThreads, [&](int thread) {
        for (std::size_t i = 0; i < kRounds; ++i) {
            if (thread == 0) {
                surroundings.Set(settings[i % settings.size()]);
            }
            pkisdk::ReloadLogConfig(&log.context);
            pkisdk::PollLogConfig(&log.context, 8);
            seen[static_cast<std::size_t>(thread)].insert(log.file.fileName.load()->text);
        }
    });
    std::set<std::string> seenByAny;
    for (const std::set<std::string>& some : seen) {
        seenByAny.insert(some.begin(), some.end());
    }
    EXPECT_EQ(seenByAny, names);
    int kept = 0;
    for (const pkisdk::LogFileName* name = log.file.names; name != nullptr; name = name->next) {
        ++kept;
    }
    // At worst each thread adds each of them once.
    EXPECT_LE(kept, kThreads * 3);
}

// Where all threads that open the log's key have theirs before any of them can keep it.
std::barrier<> allHaveOpened(kThreads);
std::atomic<int> keysOpened;
std::atomic<int> keysClosed;

LSTATUS OpenTogether(HKEY root, LPCSTR path, DWORD options, REGSAM rights, PHKEY key) {
    const LSTATUS status = RegOpenKeyExA(root, path, options, rights, key);
    if (status == ERROR_SUCCESS) {
        ++keysOpened;
        if (root != HKEY_LOCAL_MACHINE) {
            allHaveOpened.arrive_and_wait();
        }
    }
    return status;
}

LSTATUS CountClosing(HKEY key) {
    ++keysClosed;
    return RegCloseKey(key);
}

// Threads that open the settings at once of a log that had none.
void OpenSettingsInThreads() {
    keysOpened = 0;
    keysClosed = 0;
    LogSurroundings surroundings;
    {
        TestLog log;
        log.context.openKey = &OpenTogether;
        log.context.closeKey = &CountClosing;
        log.Start();
        surroundings.Set({{"level", 2}});
        std::array<std::uint32_t, kThreads> levels{};
        InThreads(kThreads, [&](int thread) {
            pkisdk::ReloadLogConfig(&log.context);
            levels[static_cast<std::size_t>(thread)] = log.context.level;
        });
        for (const std::uint32_t level : levels) {
            EXPECT_EQ(level, 2u);
        }
        EXPECT_NE(log.registry.event.load(), nullptr);
        EXPECT_EQ(keysOpened - keysClosed, 1);
    }
    // Of each thread the log's key and the one above it.
    EXPECT_EQ(keysOpened, 2 * kThreads);
    EXPECT_EQ(keysClosed, keysOpened);
}

TEST(LogThreads, OpenTheSettingsAtOnceThatWereNotThereAtTheStart) {
    OpenSettingsInThreads();
    // What the platform makes once and keeps is there now. It may give back late what a thread had,
    // but a handle that gets lost gets lost each time.
    const std::size_t before = OpenHandles();
    std::size_t after = before + 1;
    for (int round = 0; round < 10 && after > before; ++round) {
        OpenSettingsInThreads();
        after = OpenHandles();
    }
    EXPECT_LE(after, before);
}

}  // namespace
