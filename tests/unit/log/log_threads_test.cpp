// Threads that log while the settings change under them.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/test_log.h"

namespace {

using test_support::LogSurroundings;
using test_support::TestLog;

constexpr int kThreads = 6;

void InThreads(const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back(work, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

std::multiset<std::string> LinesOf(const std::string& path) {
    std::istringstream content(test_support::ContentOf(path));
    std::multiset<std::string> lines;
    for (std::string line; std::getline(content, line);) {
        lines.insert(line);
    }
    return lines;
}

// While the name of the file, the masks and the length of lines change: every line is whole and in
// one of the files.
TEST(LogThreads, LoseNothingWhileTheSettingsChangeUnderThem) {
    constexpr int kRounds = 200;
    const LogSurroundings surroundings("");
    const std::string common = "file_level = 8\nfile_field = 0x10\n";
    const auto settings = [&](int i) {
        return common + "file_max = " + std::to_string(i % 2 == 0 ? 80 : 2048) +
               "\nfile_filename = '" + surroundings.Path(std::to_string(i % 3)) + "'\n";
    };
    surroundings.Set(settings(0));
    TestLog log;
    log.Start();
    std::atomic<bool> isDone = false;
    std::thread administrator([&] {
        for (int i = 1; !isDone; ++i) {
            surroundings.Set(settings(i));
            std::this_thread::yield();
        }
    });
    InThreads([&](int thread) {
        for (int i = 0; i < kRounds; ++i) {
            log.Say((std::to_string(thread) + " line " + std::to_string(i)).c_str());
        }
    });
    isDone = true;
    administrator.join();
    std::multiset<std::string> found;
    for (const char* file : {"0", "1", "2"}) {
        found.merge(LinesOf(surroundings.Path(file)));
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
    constexpr int kRounds = 300;
    const LogSurroundings surroundings("file_filename = '/a'\n");
    TestLog log;
    log.Start();
    const std::set<std::string> names = {"/a", "/a/longer/name", surroundings.Path()};
    InThreads([&](int thread) {
        for (int i = 0; i < kRounds; ++i) {
            if (thread == 0) {
                surroundings.Set(i % 3 == 0   ? "file_filename = '/a/longer/name'\n"
                                 : i % 3 == 1 ? "file_filename = '/a'\n"
                                              : "level = 8\n");
            }
            pkisdk::ReloadLogConfig(&log.context);
            pkisdk::PollLogConfig(&log.context, 8);
            EXPECT_TRUE(names.contains(log.file.fileName.load()->text));
        }
    });
    int kept = 0;
    for (const pkisdk::LogFileName* name = log.file.names; name != nullptr; name = name->next) {
        ++kept;
    }
    // At worst each thread adds each of them once.
    EXPECT_LE(kept, kThreads * 3);
}

TEST(LogThreads, OpenTheSettingsAtOnceThatWereNotThereAtTheStart) {
    const LogSurroundings surroundings;
    TestLog log;
    log.Start();
    surroundings.Set("level = 1\n");
    InThreads([&](int) {
        pkisdk::ReloadLogConfig(&log.context);
        EXPECT_EQ(log.context.level & 1, 1u);
    });
    EXPECT_EQ(log.context.level, 1u);
}

}  // namespace
