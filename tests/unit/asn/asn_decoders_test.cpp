#include "asn/asn_decoders.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/cryptoapi.h"
#include "support/octets.h"
#include "support/wide_text.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::MessageOf;
using support::ToHex;
using support::Wide;

constexpr UINT kKoi8r = 20866;

template <typename Value>
Value Read(void (*decoder)(const AsnObjectHandle&, Value*), const char* hex) {
    const Blob blob = FromHex(hex);
    Value value{};
    decoder(AsnObjectReadable::FromBlob(blob), &value);
    return value;
}

template <typename Failure, typename Value>
std::string FailureOf(void (*decoder)(const AsnObjectHandle&, Value*), const char* hex) {
    return MessageOf<Failure>([&] { Read(decoder, hex); });
}

TEST(AsnDecoders, IntegerOfOneOctetIsExtendedByItsSign) {
    EXPECT_EQ(Read(ReadAsnInteger, "02 01 FF"), 0xFFFFFFFFU);
    EXPECT_EQ(Read(ReadAsnInteger, "02 01 7F"), 0x7FU);
    EXPECT_EQ(Read(ReadAsnInteger, "02 01 00"), 0U);
    EXPECT_EQ(Read(ReadAsnInteger, "02 02 07 D0"), 2000U);
    EXPECT_EQ(Read(ReadAsnInteger, "02 03 80 00 01"), 0xFF800001U);
}

TEST(AsnDecoders, IntegerOfFourOctetsKeepsItsTopBit) {
    EXPECT_EQ(Read(ReadAsnInteger, "02 04 80 00 00 00"), 0x80000000U);
}

TEST(AsnDecoders, IntegerOfFiveOctetsIsTooLong) {
    EXPECT_EQ(FailureOf<BadAsnData>(ReadAsnInteger, "02 05 00 FF FF FF FF"),
              "[ASN Integer reading] The content length is too long.Object: offset - 0; identifier "
              "- \"Integer\". ");
}

TEST(AsnDecoders, IntegerWithoutOctetsIsEmpty) {
    EXPECT_EQ(FailureOf<BadAsnData>(ReadAsnInteger, "02 00"),
              "[ASN Integer reading] The content is empty.Object: offset - 0; identifier - "
              "\"Integer\". ");
    EXPECT_EQ(FailureOf<BadAsnData>(ReadAsnInteger, "02 80 00 00"),
              "[ASN Integer reading] The content is empty.Object: offset - 0; identifier - "
              "\"Integer\". ");
}

TEST(AsnDecoders, EnumeratedReadsAsAnInteger) {
    EXPECT_EQ(Read(ReadAsnInteger, "0A 01 02"), 2U);
}

TEST(AsnDecoders, AnythingElseIsNoInteger) {
    EXPECT_EQ(FailureOf<BadConversion>(ReadAsnInteger, "04 01 02"),
              "[ASN Integer reading] Can't read cantent as ASN Integer. Object: offset - 0; "
              "identifier - \"OctetString\". ");
    EXPECT_EQ(FailureOf<BadConversion>(ReadAsnInteger, "1F 02 01 05"),
              "[ASN Integer reading] Can't read cantent as ASN Integer. Object: offset - 0; "
              "identifier - \"31\". ");
}

TEST(AsnDecoders, ObjectIdKeepsItsOctets) {
    EXPECT_EQ(ToHex(Read(ReadAsnObjectId, "06 03 55 04 03").GetOctets()), "55 04 03");
    EXPECT_TRUE(Read(ReadAsnObjectId, "06 00").GetOctets().IsEmpty());
}

TEST(AsnDecoders, AnythingElseIsNoObjectId) {
    EXPECT_EQ(FailureOf<BadConversion>(ReadAsnObjectId, "02 01 05"),
              "[ASN ObjectId reading] Can't read cantent as ASN ObjectId. Object: offset - 0; "
              "identifier - \"Integer\". ");
}

TEST(AsnDecoders, ObjectIdWithoutTextIsBadDataAndIsStoredAllTheSame) {
    const Blob blob = FromHex("06 01 78");
    ObjectId value;
    EXPECT_EQ(
        MessageOf<BadAsnData>([&] { ReadAsnObjectId(AsnObjectReadable::FromBlob(blob), &value); }),
        "[ASN ObjectId reading] Error during converting object oid from binary format to "
        "string.Object: offset - 0; identifier - \"ObjectId\". ");
    EXPECT_EQ(ToHex(value.GetOctets()), "78");
}

TEST(AsnDecoders, FailureOfTheObjectFormHasNoCode) {
    try {
        Read(ReadAsnObjectId, "06 01 78");
        FAIL();
    } catch (const BadAsnData& e) {
        EXPECT_EQ(e.code, 0U);
    }
    try {
        Read(ReadAsnObjectId, "05 00");
        FAIL();
    } catch (const BadConversion& e) {
        EXPECT_EQ(e.code, 0x0A000003U);
    }
}

TEST(AsnDecoders, Utf8StringTakesFourTypes) {
    EXPECT_EQ(Read(ReadAsnUtf8String, "0C 03 41 D0 96"), Wide({'A', 0x416}));
    EXPECT_EQ(Read(ReadAsnUtf8String, "16 01 42"), L"B");
    EXPECT_EQ(Read(ReadAsnUtf8String, "12 01 37"), L"7");
    EXPECT_EQ(Read(ReadAsnUtf8String, "13 01 44"), L"D");
    EXPECT_EQ(FailureOf<BadConversion>(ReadAsnUtf8String, "1E 02 00 41"),
              "[ASN Utf8 String reading] Can't read cantent as ASN Utf8 String. Object: offset - "
              "0; identifier - \"BmpString\". ");
}

TEST(AsnDecoders, EmptyUtf8StringClearsTheTarget) {
    const Blob blob = FromHex("0C 00");
    std::wstring value = L"before";
    ReadAsnUtf8String(AsnObjectReadable::FromBlob(blob), &value);
    EXPECT_EQ(value, L"");
}

TEST(AsnDecoders, Utf8StringOutsideTheBmpWithNulsAndWithInvalidOctets) {
    EXPECT_EQ(Read(ReadAsnUtf8String, "0C 06 41 00 F0 9F 98 80"), Wide({'A', 0, 0x1F600}));
    EXPECT_EQ(Read(ReadAsnUtf8String, "0C 03 41 FF 42"), Wide({'A', 0xFFFD, 'B'}));
}

TEST(AsnDecoders, ByteStringAsksForNoType) {
    EXPECT_EQ(Read(ReadAsnByteString, "13 03 41 00 42"), Wide({'A', 0, 'B'}));
    EXPECT_EQ(Read(ReadAsnByteString, "02 01 41"), L"A");
    EXPECT_EQ(Read(ReadAsnByteString, "13 00"), L"");
}

TEST(AsnDecoders, ByteStringIsTextOfTheUsersLocale) {
    if (GetACP() != CP_UTF8) {
        GTEST_SKIP() << "needs a user's locale in UTF-8";
    }
    EXPECT_EQ(Read(ReadAsnByteString, "13 02 D0 96"), Wide({0x416}));
}

TEST(AsnDecoders, OfTextOnlyTheByteStringIsReadInKoi8r) {
    if (GetACP() != kKoi8r) {
        GTEST_SKIP() << "needs a user's locale in KOI8-R";
    }
    EXPECT_EQ(Read(ReadAsnByteString, "13 02 E4 C1"), Wide({0x414, 0x430}));
    EXPECT_EQ(Read(ReadAsnUtf8String, "0C 02 D0 96"), Wide({0x416}));
}

TEST(AsnDecoders, BmpStringIsReadHighOctetFirst) {
    EXPECT_EQ(Read(ReadAsnBmpString, "1E 02 00 41"), Wide({0x41}));
    EXPECT_EQ(Read(ReadAsnBmpString, "1E 06 04 16 00 00 00 41"), Wide({0x416, 0, 0x41}));
    EXPECT_EQ(Read(ReadAsnBmpString, "1E 00"), L"");
}

TEST(AsnDecoders, BmpStringJoinsSurrogatePairsAndKeepsLoneSurrogates) {
    EXPECT_EQ(Read(ReadAsnBmpString, "1E 04 D8 3D DE 00"), Wide({0x1F600}));
    EXPECT_EQ(Read(ReadAsnBmpString, "1E 04 D8 3D 00 41"), Wide({0xD83D, 0x41}));
    EXPECT_EQ(Read(ReadAsnBmpString, "1E 02 DE 00"), Wide({0xDE00}));
}

TEST(AsnDecoders, BmpStringOfThreeOctetsFails) {
    EXPECT_EQ(FailureOf<AsnException>(ReadAsnBmpString, "1E 03 00 41 00"),
              "[AsnObjectReadable::CopyContentTo (std::wstring& content)] Incorrect content.");
}

}  // namespace
}  // namespace pkisdk::asn
