#include "asn/asn_string.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "asn/asn_node_container.h"
#include "platform/cryptoapi.h"
#include "support/asn_values.h"
#include "support/octets.h"
#include "support/wide_text.h"

namespace pkisdk::asn {
namespace {

using support::MessageOf;
using support::ReadFailure;
using support::ReadHex;
using support::Wide;
using support::WrittenHex;

constexpr UINT kKoi8r = 20866;

std::string Written(const std::wstring& text, const AsnIdentifier& identifier) {
    return WrittenHex(readable::AsnString(".text", &text, identifier));
}

std::wstring Read(const char* hex) {
    std::wstring text = L"before";
    AsnString member(".text", &text, kUtf8StringIdentifier);
    EXPECT_TRUE(ReadHex(member, hex));
    return text;
}

TEST(AsnString, WritesTheTypeThatItHolds) {
    EXPECT_EQ(Written(Wide({'A', 0x416}), kUtf8StringIdentifier), "0C 03 41 D0 96");
    EXPECT_EQ(Written(L"7", kNumericStringIdentifier), "12 01 37");
    EXPECT_EQ(Written(L"A", kPrintableStringIdentifier), "13 01 41");
    EXPECT_EQ(Written(L"A", kIa5StringIdentifier), "16 01 41");
    EXPECT_EQ(Written(L"", kUtf8StringIdentifier), "0C 00");
    EXPECT_EQ(Written(L"", kPrintableStringIdentifier), "13 00");
    EXPECT_EQ(Written(L"", kBmpStringIdentifier), "1E 00");
}

TEST(AsnString, ReadsByTheObjectsTypeNotItsOwn) {
    EXPECT_EQ(Read("0C 03 41 D0 96"), Wide({'A', 0x416}));
    EXPECT_EQ(Read("12 01 37"), L"7");
    EXPECT_EQ(Read("13 01 41"), L"A");
    EXPECT_EQ(Read("16 01 41"), L"A");
    EXPECT_EQ(Read("1E 04 00 41 04 16"), Wide({'A', 0x416}));
}

TEST(AsnString, BmpStringIsWrittenLowOctetFirstAndReadHighOctetFirst) {
    EXPECT_EQ(Written(Wide({'A', 0x416}), kBmpStringIdentifier), "1E 04 41 00 16 04");
    EXPECT_EQ(Read("1E 04 41 00 16 04"), Wide({0x4100, 0x1604}));
}

TEST(AsnString, CharactersOutsideTheBmpAreTwoUnits) {
    EXPECT_EQ(Written(Wide({0x1F600}), kBmpStringIdentifier), "1E 04 3D D8 00 DE");
    EXPECT_EQ(Read("1E 04 D8 3D DE 00"), Wide({0x1F600}));
    EXPECT_EQ(Written(Wide({0x1F600}), kUtf8StringIdentifier), "0C 04 F0 9F 98 80");
}

TEST(AsnString, OnlyUtf8StringsAreNotInKoi8r) {
    if (GetACP() != kKoi8r) {
        GTEST_SKIP() << "needs a user's locale in KOI8-R";
    }
    EXPECT_EQ(Written(Wide({0x414}), kPrintableStringIdentifier), "13 01 E4");
    EXPECT_EQ(Written(Wide({0x414}), kUtf8StringIdentifier), "0C 02 D0 94");
    EXPECT_EQ(Read("13 01 E4"), Wide({0x414}));
    EXPECT_EQ(Read("0C 02 D0 94"), Wide({0x414}));
}

TEST(AsnString, NodeIsAddedToTheParent) {
    const std::wstring text = L"A";
    const auto parent = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    readable::AsnString("", &text, kIa5StringIdentifier).SerializeToAsnNode(parent);
    EXPECT_EQ(parent->CalculateContentSize(), 3U);
}

TEST(AsnString, LoneSurrogates) {
    EXPECT_EQ(Written(Wide({0xD83D, 'A'}), kBmpStringIdentifier), "1E 04 3D D8 41 00");
    EXPECT_EQ(Written(Wide({0xD83D}), kUtf8StringIdentifier), "0C 03 EF BF BD");
    EXPECT_EQ(Read("1E 02 DE 00"), Wide({0xDE00}));
}

TEST(AsnString, EmbeddedNuls) {
    EXPECT_EQ(Written(Wide({'A', 0}), kUtf8StringIdentifier), "0C 02 41 00");
    EXPECT_EQ(Written(Wide({'A', 0}), kIa5StringIdentifier), "16 02 41 00");
    EXPECT_EQ(Written(Wide({'A', 0}), kBmpStringIdentifier), "1E 04 41 00 00 00");
    EXPECT_EQ(Read("13 02 41 00"), Wide({'A', 0}));
}

TEST(AsnString, OddBmpStringFails) {
    std::wstring text;
    AsnString member(".text", &text, kBmpStringIdentifier);
    EXPECT_EQ(ReadFailure<AsnException>(member, "1E 03 00 41 00"),
              "[AsnObjectReadable::CopyContentTo (std::wstring& content)] Incorrect content.");
}

TEST(AsnString, UnsupportedIdentifierIsAPlainStandardExceptionWhenWritten) {
    const char* const message = "[AsnString::SerializeToAsnNode] Unsupported Asn Identifier.";
    EXPECT_EQ(MessageOf<std::runtime_error>([] { Written(L"A", kNullIdentifier); }), message);
    EXPECT_EQ(MessageOf<std::runtime_error>([] { Written(L"A", AsnIdentifier(0x0C, 31)); }),
              message);
    EXPECT_EQ(MessageOf<std::runtime_error>([] { Written(L"A", AsnIdentifier(0x2C, 12)); }),
              message);
}

TEST(AsnString, AnyOtherTypeFailsWhenReadWithNothingExpected) {
    std::wstring text;
    AsnString member(".text", &text, kUtf8StringIdentifier);
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(member, "04 01 41", "Path"),
              " Unexpactid ASN identifier: current is \"OctetString\", but expacted \"\". Context: "
              "\"Path.text\". Object: offset - 0; identifier - \"OctetString\". ");
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(member, "1F 1F 01 41"),
              " Unexpactid ASN identifier: current is \"31\", but expacted \"\". Context: "
              "\".text\". Object: offset - 0; identifier - \"31\". ");
}

TEST(AsnString, ReadableTwinCannotRead) {
    const std::wstring text;
    readable::AsnString member(".text", &text, kUtf8StringIdentifier);
    EXPECT_EQ(ReadFailure<AsnException>(member, "0C 01 41"),
              "[asn::readable::AsnString::DeserializeFromAsnObject] Method is not implemented.");
}

}  // namespace
}  // namespace pkisdk::asn
