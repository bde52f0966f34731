#include "pfxexport/pfx_skeleton.h"

#include <gtest/gtest.h>

#include "support/der_outline.h"

namespace {

using pkisdk::BuildPfxSkeleton;
using pkisdk::DerList;

// SEQUENCE { 3, SEQUENCE { data, [0] { OCTET STRING { SEQUENCE { SEQUENCE { data, [0] { OCTET
// STRING { SEQUENCE {} } } } } } } } }, lengths counted by hand.
constexpr char kSkeleton[] =
    "30 29 02 01 03 "
    "30 24 06 09 2A 86 48 86 F7 0D 01 07 01 A0 17 04 15 30 13 "
    "30 11 06 09 2A 86 48 86 F7 0D 01 07 01 A0 04 04 02 30 00";

TEST(BuildPfxSkeleton, AppendsTheTwelveNodesInOrder) {
    DerList list;
    BuildPfxSkeleton(&list);
    EXPECT_EQ(outline::Outline(list),
              "0:30:41 1:02:1 1:30:36 2:06:9 2:A0:23 3:04:21 4:30:19 5:30:17 6:06:9 6:A0:4 7:04:2 "
              "8:30:0");
    EXPECT_EQ(outline::FlattenToHex(list), kSkeleton);
}

TEST(BuildPfxSkeleton, ReplacesWhatTheListHeld) {
    DerList list = outline::Parse("30 03 02 01 05");
    BuildPfxSkeleton(&list);
    EXPECT_EQ(outline::FlattenToHex(list), kSkeleton);
}

TEST(BuildPfxSkeleton, WithoutAListDoesNothing) {
    BuildPfxSkeleton(nullptr);
}

}  // namespace
