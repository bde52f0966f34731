// The tool's own file on a bad disk: every call on a file fails in turn, once, and then with all
// after it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "integration/fault_tally.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/output_file.h"
#include "support/file_faults.h"
#include "support/scoped_environment.h"

namespace {

using file_faults::Fault;
using mvlpfx::ExitCode;
using mvlpfx::ToolError;

constexpr char kOld[] = "what was there";
const std::string kNew(10'000, 'n');

class OutputFileOnABadDisk : public testing::TestWithParam<bool> {
  protected:
    bool Replaces() const { return GetParam(); }

    void Prepare() const {
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directory(folder_);
        if (Replaces()) {
            std::ofstream(Target()) << kOld;
        }
    }

    // The error, or nothing.
    std::optional<ToolError> Write() const {
        const std::vector<std::uint8_t> bytes(kNew.begin(), kNew.end());
        try {
            mvlpfx::RequireWritable(Target(), Replaces());
            mvlpfx::WriteOutputFile(Target(), bytes, Replaces());
            return std::nullopt;
        } catch (const ToolError& error) {
            return error;
        }
    }

    // Nothing where there is no file.
    std::optional<std::string> Content() const {
        std::ifstream file(Target(), std::ios::binary);
        return file ? std::optional(std::string(std::istreambuf_iterator<char>(file), {}))
                    : std::nullopt;
    }

    std::ptrdiff_t CountFiles() const {
        return std::ranges::distance(std::filesystem::directory_iterator(folder_));
    }

    std::string Target() const { return folder_ + "/out.pfx"; }

    void ExpectRefusal(const ToolError& error, const Fault& fault) const {
        EXPECT_EQ(error.exitCode, ExitCode::kFile);
        EXPECT_EQ(error.what(), "can't write '" + Target() + "': " + std::strerror(fault.error));
        EXPECT_EQ(error.advice, mvlpfx::AdviceOfErrno(fault.error));
        EXPECT_NE(error.advice, "");
        EXPECT_EQ(Content(), Replaces() ? std::optional<std::string>(kOld) : std::nullopt);
    }

    // Answers whether there were as many calls.
    bool Try(std::size_t number, const Fault& fault, test_support::FaultTally* tally) const {
        Prepare();
        std::optional<ToolError> error;
        bool happened = false;
        {
            const file_faults::Fail fail(number, fault);
            error = Write();
            happened = fail.Happened();
        }
        SCOPED_TRACE("call " + std::to_string(number) + ", " + file_faults::LastCall() + ": " +
                     std::strerror(fault.error));
        if (error) {
            EXPECT_TRUE(happened && !fault.IsShort() && fault.error != EINTR);
            ExpectRefusal(*error, fault);
        } else {
            EXPECT_EQ(Content(), kNew);
        }
        // A temporary file stays only where it can't be removed.
        if (!happened || (!fault.stays && file_faults::LastCall() != "unlink")) {
            EXPECT_EQ(CountFiles(), Content() ? 1 : 0);
        }
        if (happened) {
            tally->Add(file_faults::LastCall(), error ? "refused" : "done");
        }
        return happened;
    }

  private:
    const test_support::ScopedFolder work_;
    const std::string folder_ = work_ / "folder";
};

TEST_P(OutputFileOnABadDisk, IsTheOldOrTheWholeNewAndLeavesNoOther) {
    std::vector<Fault> faults = {{EINTR, false}, {0, false}, {0, true}};
    for (const int error : {ENOSPC, EDQUOT, EROFS, EACCES, EIO}) {
        faults.push_back({error, false});
        faults.push_back({error, true});
    }
    for (const Fault& fault : faults) {
        test_support::FaultTally tally(
            std::string("the tool's file, ") + (Replaces() ? "replaced, " : "new, ") +
            (fault.IsShort() ? "a short call" : std::strerror(fault.error)) +
            (fault.stays ? " from one on" : " once"));
        std::size_t number = 1;
        while (Try(number, fault, &tally) && !HasFailure()) {
            ++number;
        }
        // Opening and writing at least.
        EXPECT_GT(number, 1U);
    }
}

INSTANTIATE_TEST_SUITE_P(NewAndReplaced, OutputFileOnABadDisk, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& parameter) {
                             return parameter.param ? "Replaced" : "New";
                         });

}  // namespace
