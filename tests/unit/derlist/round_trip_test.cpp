#include "derlist/round_trip.h"

#include <gtest/gtest.h>

#include "support/der_outline.h"

namespace {

using outline::FromHex;
using pkisdk::ComesOutUnchanged;
using pkisdk::DerList;
using pkisdk::ParseUnchanged;

TEST(ComesOutUnchanged, IsTrueOfElementsWhateverTheirOctetsReadAs) {
    EXPECT_TRUE(ComesOutUnchanged(FromHex("30 06 04 04 51 51 51 51")));
    EXPECT_TRUE(ComesOutUnchanged(FromHex("30 06 04 04 02 02 02 02")));
    EXPECT_TRUE(ComesOutUnchanged(FromHex("04 01 51")));
}

TEST(ComesOutUnchanged, IsFalseWhereAZeroInFrontOfAnElementGetsLost) {
    EXPECT_FALSE(ComesOutUnchanged(FromHex("30 07 04 05 00 02 02 02 02")));
}

TEST(ComesOutUnchanged, IsFalseWhereALengthIsMadeMinimal) {
    EXPECT_FALSE(ComesOutUnchanged(FromHex("30 06 04 04 04 81 01 51")));
}

TEST(ComesOutUnchanged, IsFalseWhereALengthIsMadeDefiniteAndTheSizeStays) {
    EXPECT_FALSE(ComesOutUnchanged(FromHex("30 80 04 01 51 00 00")));
}

TEST(ComesOutUnchanged, IsFalseOfWhatIsNoElement) {
    EXPECT_FALSE(ComesOutUnchanged(FromHex("05")));
    EXPECT_FALSE(ComesOutUnchanged({}));
}

TEST(ParseUnchanged, GivesTheNodesThatTheBytesReadAs) {
    DerList list;
    ASSERT_TRUE(ParseUnchanged(FromHex("30 06 04 04 02 02 02 02"), &list));
    EXPECT_EQ(outline::Outline(list), "0:30:6 1:04:4 2:02:2");
}

}  // namespace
