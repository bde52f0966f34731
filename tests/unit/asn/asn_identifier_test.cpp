#include "asn/asn_identifier.h"

#include <gtest/gtest.h>

#include <string>

#include "asn/asn_cursor.h"
#include "foundation/asn_exceptions.h"
#include "support/octets.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::MessageOf;
using support::ToHex;

std::string Written(const AsnIdentifier& identifier, std::uint64_t room) {
    Blob blob(room);
    BlobCursor cursor = CursorOver(blob);
    identifier.Serialize(cursor);
    EXPECT_EQ(cursor.position, static_cast<std::int32_t>(room));
    EXPECT_EQ(EncodedIdentifierSize(identifier), room);
    return ToHex(blob);
}

AsnIdentifier Read(const char* hex) {
    Blob blob = FromHex(hex);
    BlobCursor cursor = CursorOver(blob);
    return AsnIdentifier(cursor);
}

std::string ReadFailure(const char* hex) {
    return MessageOf<BadAsnData>([&] { Read(hex); });
}

TEST(AsnIdentifier, DefaultIsNoIdentifierThatADocumentHolds) {
    EXPECT_EQ(AsnIdentifier().firstOctet, 1);
    EXPECT_EQ(AsnIdentifier().tagNumber, 0U);
    EXPECT_EQ(Read("01"), AsnIdentifier(1, 1));
    EXPECT_NE(Read("01"), AsnIdentifier());
}

TEST(AsnIdentifier, ConstantsHaveTheirOctetAndTag) {
    EXPECT_EQ((ConstAsnIdentifier<0, 2, false>::kValue), AsnIdentifier(0x02, 2));
    EXPECT_EQ((ConstAsnIdentifier<0, 17, true>::kValue), AsnIdentifier(0x31, 17));
    EXPECT_EQ((ConstAsnIdentifier<0x80, 0, true>::kValue), AsnIdentifier(0xA0, 0));
    EXPECT_EQ(kIntegerIdentifier, AsnIdentifier(0x02, 2));
    EXPECT_EQ(kBitStringIdentifier, AsnIdentifier(0x03, 3));
    EXPECT_EQ(kOctetStringIdentifier, AsnIdentifier(0x04, 4));
    EXPECT_EQ(kNullIdentifier, AsnIdentifier(0x05, 5));
    EXPECT_EQ(kObjectIdIdentifier, AsnIdentifier(0x06, 6));
    EXPECT_EQ(kEnumeratedIdentifier, AsnIdentifier(0x0A, 10));
    EXPECT_EQ(kUtf8StringIdentifier, AsnIdentifier(0x0C, 12));
    EXPECT_EQ(kSequenceIdentifier, AsnIdentifier(0x30, 16));
    EXPECT_EQ(kSetIdentifier, AsnIdentifier(0x31, 17));
    EXPECT_EQ(kNumericStringIdentifier, AsnIdentifier(0x12, 18));
    EXPECT_EQ(kPrintableStringIdentifier, AsnIdentifier(0x13, 19));
    EXPECT_EQ(kIa5StringIdentifier, AsnIdentifier(0x16, 22));
    EXPECT_EQ(kBmpStringIdentifier, AsnIdentifier(0x1E, 30));
    EXPECT_EQ(AnyAsnIdentifier, AsnIdentifier(0x1F, 0xFFFFFFFF));
}

TEST(AsnIdentifier, ContextIdentifiersKeepTheWholeTag) {
    EXPECT_EQ(PrimitiveContextIdentifier(0), AsnIdentifier(0x80, 0));
    EXPECT_EQ(PrimitiveContextIdentifier(30), AsnIdentifier(0x9E, 30));
    EXPECT_EQ(PrimitiveContextIdentifier(31), AsnIdentifier(0x9F, 31));
    EXPECT_EQ(PrimitiveContextIdentifier(1000), AsnIdentifier(0x9F, 1000));
    EXPECT_EQ(ConstructedContextIdentifier(0), AsnIdentifier(0xA0, 0));
    EXPECT_EQ(ConstructedContextIdentifier(31), AsnIdentifier(0xBF, 31));
    EXPECT_EQ(ConstructedContextIdentifier(0xFFFFFFFF), AsnIdentifier(0xBF, 0xFFFFFFFF));
}

TEST(AsnIdentifier, ClassesAreToldApart) {
    EXPECT_TRUE(kSequenceIdentifier.IsUniversal());
    for (const std::uint8_t octet : {std::uint8_t{0x40}, std::uint8_t{0xC0}}) {
        EXPECT_FALSE(AsnIdentifier(octet, 0).IsUniversal());
        EXPECT_FALSE(AsnIdentifier(octet, 0).IsContextSpecific());
    }
    for (const std::uint8_t octet : {std::uint8_t{0x80}, std::uint8_t{0xA0}}) {
        EXPECT_TRUE(AsnIdentifier(octet, 0).IsContextSpecific());
        EXPECT_FALSE(AsnIdentifier(octet, 0).IsUniversal());
    }
}

TEST(AsnIdentifier, ConstructedIsABitOfItsOwn) {
    EXPECT_TRUE(kSequenceIdentifier.IsConstructed());
    EXPECT_TRUE(AsnIdentifier(0x23, 3).IsConstructed());
    EXPECT_TRUE(AsnIdentifier(0xA0, 0).IsConstructed());
    EXPECT_FALSE(kIntegerIdentifier.IsConstructed());
    EXPECT_FALSE(kNumericStringIdentifier.IsConstructed());
    EXPECT_FALSE(AsnIdentifier(0x80, 0).IsConstructed());
}

TEST(AsnIdentifier, LowTagIsInTheFirstOctet) {
    EXPECT_EQ(Read("30"), kSequenceIdentifier);
    EXPECT_EQ(Read("9E"), AsnIdentifier(0x9E, 30));
}

TEST(AsnIdentifier, HighTagIsInGroupsOfSevenBits) {
    EXPECT_EQ(Read("9F 1F"), AsnIdentifier(0x9F, 31));
    EXPECT_EQ(Read("1F 81 00"), AsnIdentifier(0x1F, 128));
    EXPECT_EQ(Read("1F 8F FF FF FF 7F"), AsnIdentifier(0x1F, 0xFFFFFFFF));
}

TEST(AsnIdentifier, BitsOverThirtyTwoAreLost) {
    EXPECT_EQ(Read("1F 81 80 80 80 80 80 05"), AsnIdentifier(0x1F, 5));
}

TEST(AsnIdentifier, LongFormOfTagFiveIsNotNull) {
    EXPECT_EQ(Read("1F 05"), AsnIdentifier(0x1F, 5));
    EXPECT_NE(Read("1F 05"), kNullIdentifier);
}

TEST(AsnIdentifier, ReadingAtTheEndFails) {
    Blob blob = FromHex("30");
    BlobCursor cursor{&blob, 1};
    EXPECT_EQ(MessageOf<BadAsnData>([&] { AsnIdentifier{cursor}; }),
              "[AsnIdentifier::AsnIdentifier] Bad ASN data. Unexpacted end of asn data.");
    EXPECT_EQ(MessageOf<BadAsnData>([&] { ReadAsnObjectTag(cursor); }),
              " Bad ASN data. Unexpacted end of asn data.");
    EXPECT_EQ(cursor.position, 1);
    cursor.position = kPositionBeforeStart;
    EXPECT_EQ(MessageOf<BadAsnData>([&] { ReadAsnObjectTag(cursor); }), " Bad ASN data.");
}

TEST(AsnIdentifier, DataThatEndsInALongTagFails) {
    const char* const message = "[ReadAsnObjectTag] Bad ASN data. Unexpacted end of asn data.";
    EXPECT_EQ(ReadFailure("1F"), message);
    EXPECT_EQ(ReadFailure("1F 81 80"), message);
}

TEST(AsnIdentifier, FailureCarriesItsCode) {
    try {
        Read("1F");
        FAIL();
    } catch (const BadAsnData& e) {
        EXPECT_EQ(e.code, 0x0A000001U);
    }
}

TEST(AsnIdentifier, PrimitiveContextTag31IsWrittenInTwoOctets) {
    EXPECT_EQ(Written(PrimitiveContextIdentifier(31), 2), "9F 1F");
}

TEST(AsnIdentifier, Tag128IsWrittenInTwoGroups) {
    EXPECT_EQ(Written(PrimitiveContextIdentifier(128), 3), "9F 81 00");
}

TEST(AsnIdentifier, WritingTakesAsManyGroupsAsTheTagHas) {
    EXPECT_EQ(Written(kSequenceIdentifier, 1), "30");
    EXPECT_EQ(Written(PrimitiveContextIdentifier(30), 1), "9E");
    EXPECT_EQ(Written(PrimitiveContextIdentifier(127), 2), "9F 7F");
    EXPECT_EQ(Written(PrimitiveContextIdentifier(16383), 3), "9F FF 7F");
    EXPECT_EQ(Written(PrimitiveContextIdentifier(16384), 4), "9F 81 80 00");
    EXPECT_EQ(Written(PrimitiveContextIdentifier(0xFFFFFFFF), 6), "9F 8F FF FF FF 7F");
}

TEST(AsnIdentifier, FirstOctetIsWrittenAsHeld) {
    EXPECT_EQ(Written({0x04, 5}, 1), "04");
}

TEST(AsnIdentifier, WritingWithoutRoomFails) {
    const char* const message = "[AsnIdentifier::Serialize] Not enough memory for ASN blob.";
    Blob blob(2);
    BlobCursor cursor = CursorOver(blob);
    EXPECT_EQ(MessageOf<NotEnoughMemoryForAsnBlob>(
                  [&] { PrimitiveContextIdentifier(128).Serialize(cursor); }),
              message);
    EXPECT_EQ(cursor.position, 1);
    cursor.position = 2;
    EXPECT_EQ(MessageOf<NotEnoughMemoryForAsnBlob>([&] { kNullIdentifier.Serialize(cursor); }),
              message);
    Blob empty;
    BlobCursor nowhere = CursorOver(empty);
    EXPECT_EQ(MessageOf<NotEnoughMemoryForAsnBlob>([&] { kNullIdentifier.Serialize(nowhere); }),
              message);
}

TEST(AsnIdentifier, AnObjectThatHasNotBeenReadIsAcceptedAnywhere) {
    EXPECT_TRUE(AcceptsIdentifier(kIntegerIdentifier, AsnIdentifier()));
    EXPECT_TRUE(AcceptsIdentifier(PrimitiveContextIdentifier(1000), AsnIdentifier()));
}

TEST(AsnIdentifier, BothFieldsMustMatchUnlessAnythingWillDo) {
    EXPECT_TRUE(AcceptsIdentifier(kIntegerIdentifier, kIntegerIdentifier));
    EXPECT_FALSE(AcceptsIdentifier(kIntegerIdentifier, {0x22, 2}));
    EXPECT_FALSE(AcceptsIdentifier(kNullIdentifier, {0x1F, 5}));
    EXPECT_FALSE(AcceptsIdentifier(PrimitiveContextIdentifier(31), PrimitiveContextIdentifier(32)));
    EXPECT_TRUE(AcceptsIdentifier(AnyAsnIdentifier, kSequenceIdentifier));
    EXPECT_FALSE(AcceptsIdentifier(kIntegerIdentifier, AnyAsnIdentifier));
}

}  // namespace
}  // namespace pkisdk::asn
