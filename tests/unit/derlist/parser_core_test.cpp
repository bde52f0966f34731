#include "derlist/parser_core.h"

#include <gtest/gtest.h>

#include <string>

#include "support/der_outline.h"

namespace pkisdk {
namespace {

// Takes so many nodes and no more, as a list does that is full.
struct ShortList {
    std::size_t room;
    std::size_t taken = 0;

    bool AppendAsRead(const DerNode&, std::span<const std::uint8_t>) {
        if (taken == room) {
            return false;
        }
        ++taken;
        return true;
    }
    void ReinsertAll() {}
};

TEST(ParserCore, ThrowsWhereTheListTakesNoMore) {
    const outline::Bytes document = outline::FromHex("30 06 02 01 05 02 01 06");
    ShortList enough{3};
    EXPECT_EQ(DerParser(std::span(document), &enough).Run(), 1);
    ShortList list{2};
    try {
        DerParser(std::span(document), &list).Run();
        FAIL() << "went on without the third node";
    } catch (const std::length_error& error) {
        EXPECT_STREQ(error.what(), "list<T> too long");
    }
    EXPECT_EQ(list.taken, 2U);
}

TEST(ParserCore, FirstNodeIsNeverFull) {
    // Each OCTET STRING takes 135 octets here and 136 once written, so that with the fourth as many
    // are counted as the document has: 2 + 4 * 135 + 2 = 4 * 136.
    outline::Bytes document{0x05, 0x00};
    std::string expected = "0:05:0";
    for (int i = 0; i < 4; ++i) {
        document.insert(document.end(), {0x04, 0x85});
        document.insert(document.end(), 133, 0x41);
        expected += " 1:04:133";
    }
    document.insert(document.end(), {0x05, 0x00});
    ASSERT_EQ(document.size(), 4U * 136U);
    DerList list;
    EXPECT_EQ(DerParser(std::span<const std::uint8_t>(document), &list).Run(), 1);
    EXPECT_EQ(outline::Outline(list), expected + " 1:05:0");
}

}  // namespace
}  // namespace pkisdk
