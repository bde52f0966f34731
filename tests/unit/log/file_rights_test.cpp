// To whom the log's file gives rights, and where it lies.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "support/log_calls.h"
#include "support/test_log.h"

namespace {

TEST(LogFile, IsItsOwnersAloneAndNoSymbolicLink) {
    test_support::LogCalls::Get().Reset();
    const test_support::LogSurroundings surroundings({{"file_level", 8}, {"file_field", 0x10}});
    test_support::TestLog log;
    log.Start();
    EXPECT_EQ(log.Say("one"), 0);
    struct stat status {};
    ASSERT_EQ(stat(surroundings.Path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    std::filesystem::rename(surroundings.Path(), surroundings.Path("target"));
    std::filesystem::create_symlink(surroundings.Path("target"), surroundings.Path());
    EXPECT_EQ(log.Say("two"), 1);
    EXPECT_EQ(test_support::ContentOf(surroundings.Path("target")), "one\n");
}

}  // namespace
