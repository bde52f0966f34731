#include "foundation/blob.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <utility>
#include <vector>

namespace pkisdk {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;

Blob MakeBlob(std::initializer_list<std::uint8_t> bytes) {
    return Blob(bytes.begin(), bytes.size());
}

TEST(Blob, OfSizeHoldsThatManyZeroBytes) {
    EXPECT_THAT(Blob(3).Bytes(), ElementsAre(0, 0, 0));
    EXPECT_TRUE(Blob(0).IsEmpty());
}

TEST(Blob, DataOfEmptyBlobIsNull) {
    Blob blob;
    EXPECT_EQ(blob.GetData(), nullptr);
    EXPECT_EQ(std::as_const(blob).GetData(), nullptr);
}

TEST(Blob, DataIsNullAfterSetSizeZeroThoughCapacityStays) {
    Blob blob(100);
    blob.SetSize(0);
    EXPECT_EQ(blob.GetData(), nullptr);
    EXPECT_EQ(std::as_const(blob).GetData(), nullptr);
    EXPECT_TRUE(blob.IsEmpty());
}

TEST(Blob, AssignOfNullGivesZeroBytes) {
    Blob blob = MakeBlob({1, 2});
    blob.Assign(nullptr, 16);
    EXPECT_THAT(blob.Bytes(), SizeIs(16));
    EXPECT_THAT(blob.Bytes(), Each(0));
}

TEST(Blob, AssignOfSizeZeroClearsWithoutReading) {
    Blob blob = MakeBlob({1, 2});
    blob.Assign(reinterpret_cast<const void*>(std::uintptr_t{1}), 0);
    EXPECT_TRUE(blob.IsEmpty());
}

TEST(Blob, AssignReplacesWholeContent) {
    Blob blob = MakeBlob({1, 2, 3});
    const std::array<std::uint8_t, 2> bytes{7, 8};
    blob.Assign(bytes.data(), bytes.size());
    EXPECT_THAT(blob.Bytes(), ElementsAre(7, 8));
}

TEST(Blob, AssignFromItselfKeepsTheBytesAskedFor) {
    Blob blob = MakeBlob({1, 2, 3, 4});
    blob.Assign(blob.GetAt(1), 2);
    EXPECT_THAT(blob.Bytes(), ElementsAre(2, 3));
}

TEST(Blob, AssignThatIsTooLongLeavesTheOldContent) {
    Blob blob = MakeBlob({1, 2});
    EXPECT_THROW(blob.Assign(nullptr, std::numeric_limits<std::uint64_t>::max()),
                 std::length_error);
    EXPECT_THAT(blob.Bytes(), ElementsAre(1, 2));
}

TEST(Blob, TooLongASizeRaisesALengthError) {
    Blob blob = MakeBlob({1});
    try {
        blob.SetSize(std::uint64_t{1} << 63);
        FAIL() << "no exception";
    } catch (const std::length_error& error) {
        EXPECT_STREQ(error.what(), "vector<T> too long");
    }
    EXPECT_THROW(blob.Append(nullptr, std::numeric_limits<std::uint64_t>::max()),
                 std::length_error);
    EXPECT_THAT(blob.Bytes(), ElementsAre(1));
}

TEST(Blob, SetSizeKeepsTheHeadAndAddsZeros) {
    Blob blob = MakeBlob({1, 2, 3});
    blob.SetSize(2);
    EXPECT_THAT(blob.Bytes(), ElementsAre(1, 2));
    blob.SetSize(4);
    EXPECT_THAT(blob.Bytes(), ElementsAre(1, 2, 0, 0));
}

TEST(Blob, AppendOfNullAddsZeros) {
    Blob blob = MakeBlob({1, 2});
    blob.Append(nullptr, 3);
    EXPECT_THAT(blob.Bytes(), ElementsAre(1, 2, 0, 0, 0));
}

TEST(Blob, AppendCopiesBehindTheOldEnd) {
    Blob blob = MakeBlob({1});
    const std::array<std::uint8_t, 2> bytes{7, 8};
    blob.Append(bytes.data(), bytes.size());
    EXPECT_THAT(blob.Bytes(), ElementsAre(1, 7, 8));
    blob.Append(bytes.data(), 0);
    EXPECT_THAT(blob.Bytes(), ElementsAre(1, 7, 8));
}

TEST(Blob, AppendOfItselfDoublesIt) {
    Blob blob = MakeBlob({1, 2, 3});
    for (int i = 0; i < 4; ++i) {
        blob.Append(blob.GetData(), blob.GetSize());
    }
    ASSERT_EQ(blob.GetSize(), 48U);
    for (std::int32_t i = 0; i < 48; ++i) {
        EXPECT_EQ(*blob.GetAt(i), i % 3 + 1);
    }
}

TEST(Blob, AppendOfItsOwnMiddleCopiesThat) {
    std::vector<std::uint8_t> bytes(64);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    Blob blob(bytes.data(), bytes.size());
    // The storage moves, and what is left of the old one no longer holds these.
    blob.Append(blob.GetData() + 8, 4);
    ASSERT_EQ(blob.GetSize(), 68U);
    EXPECT_THAT(blob.Bytes().last(4), ElementsAre(9, 10, 11, 12));
    blob.SetSize(64);
    blob.Append(blob.GetData() + 63, 1);
    EXPECT_EQ(*blob.GetAt(64), 64);
}

TEST(Blob, CopyHasBytesOfItsOwn) {
    Blob blob = MakeBlob({1, 2});
    Blob copy = blob;
    *copy.GetAt(0) = 9;
    EXPECT_THAT(blob.Bytes(), ElementsAre(1, 2));
    blob = copy;
    EXPECT_EQ(blob, copy);
    copy.Clear();
    EXPECT_THAT(blob.Bytes(), ElementsAre(9, 2));
}

TEST(Blob, MovedFromIsEmpty) {
    Blob blob = MakeBlob({1, 2});
    const Blob taken = std::move(blob);
    EXPECT_THAT(taken.Bytes(), SizeIs(2));
    EXPECT_TRUE(blob.IsEmpty());  // NOLINT(bugprone-use-after-move)
}

TEST(Blob, EqualityTakesSizeAndBytes) {
    EXPECT_EQ(Blob(), Blob(0));
    EXPECT_EQ(MakeBlob({1, 2}), MakeBlob({1, 2}));
    EXPECT_NE(MakeBlob({1, 2}), MakeBlob({1, 3}));
    EXPECT_NE(MakeBlob({1, 2}), MakeBlob({1}));
}

TEST(Blob, AConstantOneGivesItsBytesByIndexToo) {
    const Blob blob = MakeBlob({7, 8, 9});
    EXPECT_EQ(*blob.GetAt(0), 7);
    EXPECT_EQ(blob.GetAt(2), blob.GetData() + 2);
}

TEST(BlobDeathTest, IndexOutsideEndsTheProcess) {
    Blob blob(3);
    EXPECT_DEATH(blob.GetAt(3), "");
    EXPECT_DEATH(blob.GetAt(-1), "");
    EXPECT_DEATH(std::as_const(blob).GetAt(3), "");
}

TEST(BlobSerialization, WritesCountInMachineOrderThenBytes) {
    const Blob blob = MakeBlob({0x41, 0x42});
    std::array<std::uint8_t, 8> target{};
    target.fill(0xEE);
    EXPECT_EQ(blob.GetSerializedSize(), 6U);
    EXPECT_EQ(blob.Serialize(target.data(), 8), 6U);
    std::uint32_t count = 0;
    std::memcpy(&count, target.data(), sizeof(count));
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(target[4], 0x41);
    EXPECT_EQ(target[5], 0x42);
    EXPECT_EQ(target[6], 0xEE);
}

TEST(BlobSerialization, OneByteTooSmallATargetIsLeftAlone) {
    const Blob blob = MakeBlob({0x41, 0x42});
    std::array<std::uint8_t, 6> target{};
    target.fill(0xEE);
    EXPECT_EQ(blob.Serialize(target.data(), 5), 0U);
    EXPECT_THAT(target, Each(0xEE));
    EXPECT_EQ(blob.Serialize(nullptr, 6), 0U);
}

TEST(BlobSerialization, EmptyBlobIsWrittenButNotRead) {
    std::array<std::uint8_t, 4> form{1, 1, 1, 1};
    EXPECT_EQ(Blob().Serialize(form.data(), 4), 4U);
    EXPECT_THAT(form, Each(0));
    Blob blob = MakeBlob({7});
    EXPECT_EQ(blob.Deserialize(form.data(), 4), 0U);
    EXPECT_THAT(blob.Bytes(), ElementsAre(7));
}

TEST(BlobSerialization, ReadsOneByteForm) {
    const std::array<std::uint8_t, 5> form{1, 0, 0, 0, 0x41};
    Blob blob;
    EXPECT_EQ(blob.Deserialize(form.data(), 5), 5U);
    EXPECT_THAT(blob.Bytes(), ElementsAre(0x41));
}

TEST(BlobSerialization, IgnoresWhatFollowsTheContent) {
    const std::array<std::uint8_t, 7> form{1, 0, 0, 0, 0x41, 0x42, 0x43};
    Blob blob;
    EXPECT_EQ(blob.Deserialize(form.data(), 7), 5U);
    EXPECT_THAT(blob.Bytes(), ElementsAre(0x41));
}

TEST(BlobSerialization, CountPastTheSourceIsRefusedAndDoesNotWrap) {
    std::array<std::uint8_t, 16> form{};
    form.fill(0xFF);
    Blob blob = MakeBlob({7});
    EXPECT_EQ(blob.Deserialize(form.data(), 16), 0U);
    EXPECT_EQ(blob.Deserialize(nullptr, 16), 0U);
    EXPECT_THAT(blob.Bytes(), ElementsAre(7));
}

TEST(Blob, OfOneByteIsNotEmpty) {
    EXPECT_FALSE(Blob("a", 1).IsEmpty());
}

TEST(Blob, AFormThatEndsWithinItsBytesIsNotRead) {
    Blob written("abcd", 4);
    std::array<std::uint8_t, 8> form{};
    ASSERT_EQ(written.Serialize(form.data(), form.size()), 8u);
    Blob read("old", 3);
    for (std::uint32_t size = 5; size < 8; ++size) {
        EXPECT_EQ(read.Deserialize(form.data(), size), 0u) << size;
    }
    EXPECT_EQ(read, Blob("old", 3));
}

}  // namespace
}  // namespace pkisdk
