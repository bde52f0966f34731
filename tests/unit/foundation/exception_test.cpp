#include "foundation/exception.h"

#include <gtest/gtest.h>

namespace pkisdk {
namespace {

TEST(Exception, IsCaughtAsStandardExceptionWithItsMessage) {
    try {
        throw Exception(7, "seven");
    } catch (const std::exception& caught) {
        EXPECT_STREQ(caught.what(), "seven");
    }
}

TEST(Exception, CopyHasTheSameTextAndCode) {
    const Exception original(0x0A000001, "text");
    const Exception copy = original;
    EXPECT_EQ(copy.code, 0x0A000001U);
    EXPECT_EQ(copy.message, "text");
    EXPECT_STREQ(copy.what(), "text");
}

}  // namespace
}  // namespace pkisdk
