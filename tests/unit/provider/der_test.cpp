#include "provider/der.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/hex.h"

namespace {

using provider::DerElement;
using provider::DerReader;
using test_support::FromHex;
using test_support::ToHex;

using Octets = std::span<const BYTE>;

TEST(DerReader, TakesElementsOneByOne) {
    const std::vector<BYTE> octets = FromHex("0401aa0500");
    DerReader reader(octets);
    Octets content;
    EXPECT_TRUE(reader.NextIs(0x04));
    EXPECT_FALSE(reader.Read(0x05, &content));
    EXPECT_FALSE(reader.ReadLast(0x04, &content));
    ASSERT_TRUE(reader.Read(0x04, &content));
    EXPECT_EQ(ToHex(content), "aa");
    ASSERT_TRUE(reader.ReadLast(0x05, &content));
    EXPECT_TRUE(content.empty());
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_FALSE(reader.NextIs(0x00));
    EXPECT_FALSE(reader.Read(0x00, &content));
}

TEST(DerReader, RefusesWhatIsNotWholeOrNotDer) {
    for (const std::string hex : {
             "",                        // nothing
             "04",                      // no length
             "0401",                    // no content
             "0481",                    // no length behind its count
             "048101aa",                // long form of a short length
             "04820080",                // a length's leading zero
             "0480aa0000",              // indefinite
             "04ffffffff",              // reserved
             "0484ffffffff",            // far past the end
             "0488ffffffffffffffff00",  // more than a length can be
             "04850000000001aa",        // the same with zeros
         }) {
        const std::vector<BYTE> octets = FromHex(hex);
        DerReader reader(octets);
        Octets content;
        EXPECT_FALSE(reader.Read(0x04, &content)) << hex;
        EXPECT_EQ(reader.IsAtEnd(), hex.empty()) << hex;
    }
}

TEST(DerElement, ChoosesTheShortestLength) {
    EXPECT_EQ(ToHex(DerElement(0x05, {}).View()), "0500");
    const std::vector<BYTE> part(64, 0xAB);
    EXPECT_EQ(ToHex(DerElement(0x04, {part}).View().first(3)), "0440ab");
    EXPECT_EQ(ToHex(DerElement(0x04, {part, part}).View().first(4)), "048180ab");
    const std::vector<BYTE> large(0x1234, 0xCD);
    const provider::SecretBytes element = DerElement(0x04, {large});
    EXPECT_EQ(ToHex(element.View().first(5)), "04821234cd");
    EXPECT_EQ(element.size(), 4U + 0x1234U);
    DerReader reader(element.View());
    Octets content;
    ASSERT_TRUE(reader.ReadLast(0x04, &content));
    EXPECT_EQ(content.size(), 0x1234U);
}

}  // namespace
