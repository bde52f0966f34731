#include "pfximport/mac_data_walk.h"

#include <gtest/gtest.h>

#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "platform/cryptoapi.h"
#include "support/reference_crypto.h"

namespace {

using pkisdk::Blob;
using pkisdk::DerList;
using pkisdk::DerNodeView;
using test_support::Bytes;
using test_support::FromHex;

constexpr DWORD kUntouched = 0xE0001234;

DerList Parse(const std::string& hex) {
    const Bytes bytes = FromHex(hex);
    DerList list;
    EXPECT_EQ(pkisdk::ParseDerList(bytes.data(), static_cast<std::int32_t>(bytes.size()), &list),
              1);
    return list;
}

Bytes Flat(const DerList& list) {
    Blob out;
    pkisdk::FlattenSubtree(list, 0, &out);
    return {out.Bytes().begin(), out.Bytes().end()};
}

TEST(PeekLastDerNode, ShowsTheLastNode) {
    DerNodeView view;
    EXPECT_NE(PeekLastDerNode(Parse("30 06 02 01 05 04 01 41"), &view), 0);
    EXPECT_EQ(view.depth, 1);
    EXPECT_EQ(view.tag, 0x04);
    EXPECT_EQ(view.content, Blob("A", 1));
}

TEST(PeekLastDerNode, AnEmptyListLeavesTheViewAlone) {
    DerNodeView view{7, 8, Blob("x", 1)};
    EXPECT_EQ(PeekLastDerNode(DerList(), &view), 0);
    EXPECT_EQ(view.depth, 7);
    EXPECT_EQ(view.tag, 8);
    EXPECT_EQ(view.content.GetSize(), 1u);
}

TEST(DropLastDerNode, TheAncestorsShrinkWithIt) {
    DerList list = Parse("30 08 02 01 05 30 03 02 01 06");
    SetLastError(kUntouched);
    EXPECT_EQ(DropLastDerNode(&list), 1);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(Flat(list), FromHex("30 05 02 01 05 30 00"));
    EXPECT_EQ(DropLastDerNode(&list), 1);
    EXPECT_EQ(Flat(list), FromHex("30 03 02 01 05"));
}

TEST(DropLastDerNode, ANonMinimalLengthIsReckonedAnew) {
    DerList list = Parse("30 81 06 02 01 05 02 01 06");
    EXPECT_EQ(DropLastDerNode(&list), 1);
    EXPECT_EQ(Flat(list), FromHex("30 03 02 01 05"));
}

TEST(DropLastDerNode, OneNodeBecomesNoneAndNoneStaysNone) {
    DerList list = Parse("30 00");
    EXPECT_EQ(DropLastDerNode(&list), 1);
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(DropLastDerNode(&list), 1);
    EXPECT_TRUE(list.empty());
}

TEST(ExtractMacDataAsList, TakesTheLastNodeOfDepthOne) {
    DerList macData;
    SetLastError(kUntouched);
    EXPECT_EQ(ExtractMacDataAsList(Parse("30 0A 02 01 05 30 05 30 03 02 01 06"), &macData), 1);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(Flat(macData), FromHex("30 05 30 03 02 01 06"));
}

TEST(ExtractMacDataAsList, ItMayFollowTheRootAtOnce) {
    DerList macData;
    EXPECT_EQ(ExtractMacDataAsList(Parse("30 05 30 03 02 01 06"), &macData), 1);
    EXPECT_EQ(Flat(macData), FromHex("30 03 02 01 06"));
}

TEST(ExtractMacDataAsList, TheRootAloneIsBadData) {
    DerList macData;
    EXPECT_EQ(ExtractMacDataAsList(Parse("30 00"), &macData), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA));
}

TEST(ExtractMacDataAsList, AnEmptyListIsBadData) {
    DerList macData;
    EXPECT_EQ(ExtractMacDataAsList(DerList(), &macData), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA));
}

// The value of a leaf that holds the whole of a NULL with a length does not parse.
TEST(ExtractMacDataAsList, WhatDoesNotParseIsBadData) {
    DerList list;
    ASSERT_EQ(AppendDerNode(-1, {0, 0x30, Blob()}, &list), 1);
    ASSERT_EQ(AppendDerNode(-1, {1, 0x05, Blob("A", 1)}, &list), 1);
    DerList macData;
    EXPECT_EQ(ExtractMacDataAsList(list, &macData), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA));
}

TEST(ExtractAuthSafeAsList, TakesTheFirstNodeOfDepthFour) {
    DerList authSafe;
    SetLastError(kUntouched);
    EXPECT_EQ(ExtractAuthSafeAsList(Parse("30 0F A0 08 A0 06 A0 04 30 02 05 00 30 03 02 01 07"),
                                    &authSafe),
              1);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(Flat(authSafe), FromHex("30 02 05 00"));
}

TEST(ExtractAuthSafeAsList, NoNodeOfDepthFourIsBadData) {
    DerList authSafe;
    EXPECT_EQ(ExtractAuthSafeAsList(Parse("30 03 02 01 05"), &authSafe), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA));
    EXPECT_TRUE(authSafe.empty());
}

}  // namespace
