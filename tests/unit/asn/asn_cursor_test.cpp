#include "asn/asn_cursor.h"

#include <gtest/gtest.h>

#include "support/octets.h"
#include "support/sized_blob.h"

namespace pkisdk::asn {
namespace {

TEST(AsnCursor, PositionIsValidBelowTheSizeAsASignedNumber) {
    const auto validAt = [](std::uint64_t size, std::int32_t position) {
        support::SizedBlob blob(Blob(1), size);
        return IsValid({&blob, position});
    };
    EXPECT_TRUE(validAt(3, 0));
    EXPECT_TRUE(validAt(3, 2));
    EXPECT_FALSE(validAt(3, 3));
    EXPECT_FALSE(validAt(3, -1));
    EXPECT_TRUE(validAt(0x7FFFFFFF, 0x7FFFFFFE));
    EXPECT_FALSE(validAt(0x80000000, 0));
    EXPECT_FALSE(validAt(0xFFFFFFFF, 0));
    EXPECT_FALSE(validAt(0x100000000, 0));
    EXPECT_TRUE(validAt(0x100000003, 2));
    EXPECT_FALSE(validAt(0x100000003, 3));
}

TEST(AsnCursor, PlaceForAMessageIsInsidePastTheEndOrBeforeTheStart) {
    Blob blob(3);
    EXPECT_EQ(CursorAt(blob, 0).position, 0);
    EXPECT_EQ(CursorAt(blob, 2).position, 2);
    EXPECT_EQ(CursorAt(blob, 3).position, kPositionPastEnd);
    EXPECT_EQ(CursorAt(blob, -1).position, kPositionBeforeStart);
}

}  // namespace
}  // namespace pkisdk::asn
