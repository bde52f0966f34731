#include "pfxexport/read_back.h"

#include <gtest/gtest.h>

#include "derlist/der_queries.h"
#include "support/der_outline.h"

namespace {

using outline::FromHex;
using pkisdk::Blob;
using pkisdk::ComesOutUnchanged;
using pkisdk::DerList;
using pkisdk::IsReadable;

TEST(ComesOutUnchanged, IsTrueOfElementsWhateverTheirOctetsReadAs) {
    EXPECT_TRUE(ComesOutUnchanged(FromHex("30 06 04 04 51 51 51 51")));
    EXPECT_TRUE(ComesOutUnchanged(FromHex("30 06 04 04 02 02 02 02")));
}

TEST(ComesOutUnchanged, IsFalseWhereAZeroInFrontOfAnElementGetsLost) {
    EXPECT_FALSE(ComesOutUnchanged(FromHex("30 07 04 05 00 02 02 02 02")));
}

TEST(ComesOutUnchanged, IsFalseWhereALengthIsMadeMinimal) {
    EXPECT_FALSE(ComesOutUnchanged(FromHex("30 06 04 04 04 81 01 51")));
}

TEST(ComesOutUnchanged, IsFalseOfWhatIsNoElement) {
    EXPECT_FALSE(ComesOutUnchanged(FromHex("05")));
    EXPECT_FALSE(ComesOutUnchanged({}));
}

// SEQUENCE { value, salt, count }: what a tail looks like.
DerList Tail(const char* value, const char* salt) {
    DerList list;
    list.Append(outline::MakeNode(0, 0x30));
    list.Append(outline::MakeNode(1, 0x04, FromHex(value)));
    list.Append(outline::MakeNode(1, 0x04, FromHex(salt)));
    list.Append(outline::MakeNode(1, 0x02, FromHex("07 D0")));
    return list;
}

bool IsTailReadable(const char* value, const char* salt) {
    const DerList list = Tail(value, salt);
    Blob bytes;
    pkisdk::FlattenSubtree(list, 0, &bytes);
    return IsReadable(list, bytes.Bytes());
}

TEST(IsReadable, IsTrueOfATailThatIsFoundAgain) {
    EXPECT_TRUE(IsTailReadable("51 51 51 51", "52 52 52 52"));
}

TEST(IsReadable, IsFalseWhereTheSaltReadsAsAnElement) {
    EXPECT_FALSE(IsTailReadable("51 51 51 51", "04 02 52 52"));
}

TEST(IsReadable, IsFalseWhereTheValueReadsAsAnElement) {
    EXPECT_FALSE(IsTailReadable("04 02 51 51", "52 52 52 52"));
}

TEST(IsReadable, IsFalseWhereTheDocumentComesOutChanged) {
    EXPECT_FALSE(IsTailReadable("51 51 51 51", "00 02 01 52"));
}

TEST(IsReadable, IsFalseWithoutATail) {
    EXPECT_FALSE(IsReadable(outline::Parse("30 00"), FromHex("30 00")));
}

}  // namespace
