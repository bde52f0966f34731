#include "foundation/blob_cursor.h"

#include <gtest/gtest.h>

#include <limits>

namespace pkisdk {
namespace {

TEST(BlobCursor, AdvanceBeforeTheStartLandsOnTwo) {
    Blob blob(10);
    BlobCursor cursor{&blob, 4};
    EXPECT_EQ(cursor.Advance(-5).position, 2);
}

TEST(BlobCursor, AdvancePastTheEndStopsThereAndStays) {
    Blob blob(10);
    BlobCursor cursor{&blob, 4};
    EXPECT_EQ(cursor.Advance(100).position, 10);
    EXPECT_EQ(cursor.Advance(-3).position, 10);
    EXPECT_EQ(cursor.RemainingSize(), 0);
}

TEST(BlobCursor, AdvanceInsideMovesByCount) {
    Blob blob(10);
    BlobCursor cursor{&blob, 4};
    EXPECT_EQ(&cursor.Advance(5), &cursor);
    EXPECT_EQ(cursor.position, 9);
    EXPECT_EQ(cursor.Advance(-9).position, 0);
    EXPECT_EQ(cursor.Advance(10).position, 10);
}

TEST(BlobCursor, SumPast31BitsCountsAsNegative) {
    Blob blob(10);
    BlobCursor cursor{&blob, 4};
    EXPECT_EQ(cursor.Advance(std::numeric_limits<std::int32_t>::max()).position, 2);
}

TEST(BlobCursor, NegativePositionPointsAtNothingAndStays) {
    Blob blob(10);
    BlobCursor cursor{&blob, -1};
    EXPECT_EQ(cursor.Current(), nullptr);
    EXPECT_EQ(cursor.RemainingSize(), 0);
    EXPECT_EQ(cursor.Advance(5).position, -1);
    EXPECT_EQ(cursor.Advance(-5).position, -1);
}

TEST(BlobCursor, CurrentIsTheByteAtThePosition) {
    Blob blob(10);
    const BlobCursor cursor{&blob, 4};
    EXPECT_EQ(cursor.Current(), blob.GetAt(4));
    EXPECT_EQ(cursor.RemainingSize(), 6);
}

TEST(BlobCursor, AnEmptyBlobHasNoCurrentByte) {
    Blob blob;
    BlobCursor cursor{&blob, 0};
    EXPECT_EQ(cursor.Current(), nullptr);
    EXPECT_EQ(cursor.RemainingSize(), 0);
    EXPECT_EQ(cursor.Advance(1).position, 0);
    cursor.position = 5;
    EXPECT_EQ(cursor.Current(), nullptr);
}

TEST(BlobCursor, AtTheStartAllOfTheBlobRemains) {
    Blob blob("abc", 3);
    EXPECT_EQ((BlobCursor{&blob, 0}).RemainingSize(), 3);
    EXPECT_EQ((BlobCursor{&blob, 1}).RemainingSize(), 2);
    EXPECT_EQ((BlobCursor{&blob, -1}).RemainingSize(), 0);
}

}  // namespace
}  // namespace pkisdk
