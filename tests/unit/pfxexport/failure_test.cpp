#include "pfxexport/failure.h"

#include <gtest/gtest.h>

namespace {

using pkisdk::Answer;
using pkisdk::Failure;

TEST(Failure, TheLastErrorIsTakenAlsoWhereItIsNone) {
    SetLastError(77);
    EXPECT_EQ(pkisdk::FailWithLastError(), Failure(77));
    SetLastError(0);
    EXPECT_EQ(pkisdk::FailWithLastError(), Failure(0));
}

TEST(Failure, AWordOfZeroIsAFailureToo) {
    SetLastError(77);
    EXPECT_EQ(Answer(Failure(0)), 0);
    EXPECT_EQ(GetLastError(), 0u);
}

TEST(Failure, SuccessLeavesNoError) {
    SetLastError(77);
    EXPECT_EQ(Answer(pkisdk::kSuccess), 1);
    EXPECT_EQ(GetLastError(), 0u);
}

}  // namespace
