// Processes that share a log file.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "support/test_log.h"

namespace {

constexpr int kProcesses = 8;
constexpr int kLines = 10'000;

TEST(LogProcesses, EightOf10000LinesEachLoseNoneAndTearNone) {
    const test_support::LogSurroundings surroundings(
        {{"file_level", 8}, {"file_field", 0x10}, {"file_max", 96}});
    std::vector<pid_t> children;
    for (int process = 0; process < kProcesses; ++process) {
        const pid_t child = fork();
        if (child == 0) {
            test_support::TestLog log;
            log.Start();
            for (int i = 0; i < kLines; ++i) {
                log.Say((std::to_string(process) + " " + std::to_string(i) + " end").c_str());
            }
            _exit(0);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_EQ(status, 0);
    }
    // Each process's lines stand in their order.
    std::vector<int> next(kProcesses, 0);
    std::ifstream file(surroundings.Path());
    int count = 0;
    for (std::string line; std::getline(file, line); ++count) {
        const auto process = static_cast<std::size_t>(line.at(0) - '0');
        ASSERT_LT(process, next.size()) << line;
        ASSERT_EQ(line, std::to_string(process) + " " + std::to_string(next[process]) + " end");
        ++next[process];
    }
    EXPECT_EQ(count, kProcesses * kLines);
}

}  // namespace
