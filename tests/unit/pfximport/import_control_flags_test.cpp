#include "pfximport/import_control_flags.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

std::uint32_t flagsAtStart = 0xFFFFFFFF;

// Looks before the first test, since others set the flags and put them back.
class StartOfProgram : public ::testing::Environment {
  public:
    void SetUp() override { flagsAtStart = pkisdk::ImportControlFlags; }
};

const ::testing::Environment* const kStart =
    ::testing::AddGlobalTestEnvironment(new StartOfProgram);

TEST(ImportControlFlags, NoneIsSetAtTheStart) {
    ASSERT_NE(kStart, nullptr);
    EXPECT_EQ(flagsAtStart, 0u);
}

}  // namespace
