#include <gtest/gtest.h>

#include <locale>
#include <map>
#include <string>

#include "asn/asn_identifier.h"

namespace pkisdk::asn {
namespace {

const std::map<int, std::string>& Names() {
    static const std::map<int, std::string> names = {{0, "Eoc"},
                                                     {1, "Boolean"},
                                                     {2, "Integer"},
                                                     {3, "BitString"},
                                                     {4, "OctetString"},
                                                     {5, "Null"},
                                                     {6, "ObjectId"},
                                                     {7, "ObjectDescriptor"},
                                                     {8, "External"},
                                                     {9, "Real"},
                                                     {10, "Enumerated"},
                                                     {12, "Utf8String"},
                                                     {18, "NumericString"},
                                                     {19, "PrintableString"},
                                                     {20, "T61String"},
                                                     {21, "VideotexString"},
                                                     {22, "IA5String"},
                                                     {23, "UtcTime"},
                                                     {24, "GeneralizedTime"},
                                                     {25, "GrapicString"},
                                                     {26, "Iso64String"},
                                                     {27, "GeneralString"},
                                                     {28, "UniversalString"},
                                                     {30, "BmpString"},
                                                     {48, "Sequence"},
                                                     {49, "Set"}};
    return names;
}

TEST(AsnIdentifierNames, EveryFirstOctetHasItsNameOrNone) {
    for (int octet = 0; octet < 256; ++octet) {
        const auto name = Names().find(octet);
        EXPECT_EQ(GetUniversalTagName(static_cast<std::uint8_t>(octet)),
                  name == Names().end() ? "" : name->second)
            << octet;
    }
}

TEST(AsnIdentifierNames, SequenceConstructedOctetStringAndContextTags) {
    EXPECT_EQ(GetAsnIdentifierName({0x30, 16}), "Sequence");
    EXPECT_EQ(GetAsnIdentifierName({0x24, 4}), "36");
    EXPECT_EQ(GetAsnIdentifierName({0xA0, 0}), "Optional with tag=0");
    EXPECT_EQ(GetAsnIdentifierName({0x80, 0}), "128");
}

TEST(AsnIdentifierNames, NamelessOctetIsPrintedInTwoDigitsAtLeast) {
    EXPECT_EQ(GetAsnIdentifierName({11, 11}), "11");
    EXPECT_EQ(GetAsnIdentifierName({0x1F, 1000}), "31");
    EXPECT_EQ(GetAsnIdentifierName({0x41, 1}), "65");
    EXPECT_EQ(GetAsnIdentifierName({0xE1, 1}), "225");
}

TEST(AsnIdentifierNames, ExplicitTagIsPrintedWhole) {
    EXPECT_EQ(GetAsnIdentifierName({0xBF, 4294967295}), "Optional with tag=4294967295");
}

struct GroupedDigits : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\1"; }
};

TEST(AsnIdentifierNames, NumbersDoNotFollowTheLocaleOfTheProcess) {
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
    const std::string tag = GetAsnIdentifierName({0xBF, 1234});
    const std::string octet = GetAsnIdentifierName({0x80, 0});
    std::locale::global(before);
    EXPECT_EQ(tag, "Optional with tag=1234");
    EXPECT_EQ(octet, "128");
}

}  // namespace
}  // namespace pkisdk::asn
