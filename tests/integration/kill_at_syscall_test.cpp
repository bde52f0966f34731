// The runner itself: it has to see each state that a process leaves, half written ones above all.
#include "support/kill_at_syscall.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>

#include "support/scoped_environment.h"

namespace {

using test_support::KillAtEverySyscall;
using test_support::ProcessEnd;
using test_support::RunKilledAtSyscall;
using test_support::ScopedFolder;

TEST(KillAtSyscall, StopsBeforeTheCallIsCarriedOut) {
    std::set<std::string> seen;
    std::unique_ptr<ScopedFolder> folder;
    const int killed = KillAtEverySyscall(
        [&] { folder = std::make_unique<ScopedFolder>(); },
        [&] {
            const std::string first = *folder / "first";
            const std::string second = *folder / "second";
            return mkdir(first.c_str(), 0700) + mkdir(second.c_str(), 0700);
        },
        [&] {
            seen.insert(std::to_string(std::filesystem::exists(*folder / "first")) +
                        std::to_string(std::filesystem::exists(*folder / "second")));
        });
    SKIP_WHERE_NOTHING_IS_TRACED(killed);
    EXPECT_EQ(seen, (std::set<std::string>{"00", "10", "11"}));
    // The two, and the end of the process; a sanitizer adds its own.
    EXPECT_GE(killed, 3);
}

// What the tests of containers and stores look for would be found.
TEST(KillAtSyscall, SeesAFileThatIsWrittenInPlace) {
    std::set<std::uintmax_t> sizes;
    std::unique_ptr<ScopedFolder> folder;
    const int killed =
        KillAtEverySyscall([&] { folder = std::make_unique<ScopedFolder>(); },
                           [&] {
                               const std::string path = *folder / "file";
                               const int file = open(path.c_str(), O_WRONLY | O_CREAT, 0600);
                               return write(file, "half", 4) + write(file, "half", 4) == 8 ? 0 : 1;
                           },
                           [&] {
                               if (std::filesystem::exists(*folder / "file")) {
                                   sizes.insert(std::filesystem::file_size(*folder / "file"));
                               }
                           });
    SKIP_WHERE_NOTHING_IS_TRACED(killed);
    EXPECT_EQ(sizes, (std::set<std::uintmax_t>{0, 4, 8}));
}

TEST(KillAtSyscall, TellsHowAProcessEndsByItself) {
    const auto outcome = RunKilledAtSyscall(1000, [] { return 7; });
    SKIP_WHERE_NOTHING_IS_TRACED(outcome.end == ProcessEnd::kNotPermitted ? -1 : 0);
    EXPECT_EQ(outcome.end, ProcessEnd::kFinished);
    EXPECT_EQ(outcome.answer, 7);
    EXPECT_EQ(RunKilledAtSyscall(1000, [] { return raise(SIGKILL); }).answer, 1000);
}

}  // namespace
