#include "pfxexport/read_back.h"

#include <gtest/gtest.h>

#include "derlist/der_queries.h"
#include "support/der_outline.h"

namespace {

using outline::FromHex;
using pkisdk::Blob;
using pkisdk::DerList;
using pkisdk::IsReadable;

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

// What was built is { value, salt, count } at this depth.
bool IsReadableAs(const char* document, int depth, std::uint8_t tag, const char* value,
                  const char* salt, const char* count) {
    DerList built;
    for (int above = 0; above < depth; ++above) {
        built.Append(outline::MakeNode(above, 0x30));
    }
    built.Append(outline::MakeNode(depth, tag, FromHex(value)));
    built.Append(outline::MakeNode(depth, 0x04, FromHex(salt)));
    built.Append(outline::MakeNode(depth, 0x02, FromHex(count)));
    return IsReadable(built, FromHex(document));
}

TEST(IsReadable, IsFalseWhereAnythingOfTheTailIsAnother) {
    constexpr char kDocument[] = "30 09 04 01 51 04 01 52 02 01 07";
    EXPECT_TRUE(IsReadableAs(kDocument, 1, 0x04, "51", "52", "07"));
    EXPECT_FALSE(IsReadableAs(kDocument, 2, 0x04, "51", "52", "07"));
    EXPECT_FALSE(IsReadableAs(kDocument, 1, 0x0C, "51", "52", "07"));
    EXPECT_FALSE(IsReadableAs(kDocument, 1, 0x04, "50", "52", "07"));
    EXPECT_FALSE(IsReadableAs(kDocument, 1, 0x04, "51", "50", "07"));
    EXPECT_FALSE(IsReadableAs(kDocument, 1, 0x04, "51", "52", "06"));
}

TEST(IsReadable, ATailOfThreeNodesIsEnough) {
    const DerList list = outline::Parse("30 06 04 01 51 02 01 07");
    EXPECT_EQ(list.size(), 3u);
    EXPECT_TRUE(IsReadable(list, FromHex("30 06 04 01 51 02 01 07")));
}

TEST(IsReadable, IsFalseWithoutATail) {
    EXPECT_FALSE(IsReadable(outline::Parse("30 00"), FromHex("30 00")));
}

}  // namespace
