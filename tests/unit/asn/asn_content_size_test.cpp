#include "asn/asn_content_size.h"

#include <gtest/gtest.h>

#include <string>

#include "asn/asn_cursor.h"
#include "foundation/asn_exceptions.h"
#include "support/octets.h"
#include "support/sized_blob.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::MessageOf;
using support::ToHex;

// Reads the length octets, which are the whole of the blob.
AsnContentSize Read(Blob blob) {
    BlobCursor cursor = CursorOver(blob);
    AsnContentSize contentSize{7, 7};
    contentSize.size = AsnContentSize::ReadContentSize(cursor, &contentSize.indefinite);
    EXPECT_EQ(cursor.position, static_cast<std::int32_t>(blob.GetSize()));
    return contentSize;
}

AsnContentSize Definite(std::uint32_t size) {
    return {0, size};
}

std::string Written(const AsnContentSize& contentSize, std::uint64_t room) {
    Blob blob(room);
    BlobCursor cursor = CursorOver(blob);
    contentSize.Serialize(cursor);
    EXPECT_EQ(cursor.position, static_cast<std::int32_t>(room));
    EXPECT_EQ(EncodedLengthSize(contentSize), room);
    return ToHex(blob);
}

TEST(AsnContentSize, ShortForm) {
    EXPECT_EQ(Read(FromHex("00")), Definite(0));
    EXPECT_EQ(Read(FromHex("7F")), Definite(127));
}

TEST(AsnContentSize, FourLengthOctetsGiveFive) {
    EXPECT_EQ(Read(FromHex("84 00 00 00 05")), Definite(5));
}

TEST(AsnContentSize, FifthOctetFromTheEndIsLost) {
    EXPECT_EQ(Read(FromHex("85 01 00 00 00 05")), Definite(5));
}

TEST(AsnContentSize, LongFormWhereTheShortOneWouldDo) {
    EXPECT_EQ(Read(FromHex("81 05")), Definite(5));
}

TEST(AsnContentSize, IndefiniteFormHasSizeZero) {
    EXPECT_EQ(Read(FromHex("80")), (AsnContentSize{1, 0}));
}

TEST(AsnContentSize, FFIsALongFormOf127Octets) {
    std::string octets(127, '\0');
    octets.replace(123, 4, "\x01\x02\x03\x04", 4);
    octets.insert(octets.begin(), '\xFF');
    EXPECT_EQ(Read(Blob(octets.data(), octets.size())), Definite(0x01020304));

    octets.pop_back();
    EXPECT_EQ(MessageOf<BadAsnData>([&] { Read(Blob(octets.data(), octets.size())); }),
              "[AsnContentSize::ReadContentSize] Bad ASN data. Error in position 1.");
}

TEST(AsnContentSize, LargestSizes) {
    EXPECT_EQ(Read(FromHex("84 7F FF FF FF")), Definite(0x7FFFFFFF));
    EXPECT_EQ(Read(FromHex("84 80 00 00 00")), Definite(0x80000000));
    EXPECT_EQ(Read(FromHex("84 FF FF FF FF")), Definite(0xFFFFFFFF));
}

TEST(AsnContentSize, ReadingWithoutOctetsFails) {
    Blob blob = FromHex("05");
    BlobCursor cursor{&blob, 1};
    std::uint32_t indefinite = 0;
    EXPECT_EQ(MessageOf<BadAsnData>([&] { AsnContentSize::ReadContentSize(cursor, &indefinite); }),
              "[AsnContentSize::ReadContentSize] Bad ASN data. Unexpacted end of asn data.");
    EXPECT_EQ(MessageOf<BadAsnData>([&] { Read(FromHex("82 01")); }),
              "[AsnContentSize::ReadContentSize] Bad ASN data. Error in position 1.");
    EXPECT_EQ(MessageOf<BadAsnData>([&] { Read(FromHex("82")); }),
              "[AsnContentSize::ReadContentSize] Bad ASN data. Unexpacted end of asn data.");
}

// What lies behind the end of the blob would be a length.
TEST(AsnContentSize, NothingIsReadBehindTheEnd) {
    support::SizedBlob blob(FromHex("05 05"), 1);
    BlobCursor cursor{&blob, 1};
    std::uint32_t indefinite = 0;
    EXPECT_THROW(AsnContentSize::ReadContentSize(cursor, &indefinite), BadAsnData);
}

TEST(AsnContentSize, WritesTheShortestForm) {
    EXPECT_EQ(Written(Definite(0), 1), "00");
    EXPECT_EQ(Written(Definite(127), 1), "7F");
    EXPECT_EQ(Written(Definite(128), 2), "81 80");
    EXPECT_EQ(Written(Definite(255), 2), "81 FF");
    EXPECT_EQ(Written(Definite(256), 3), "82 01 00");
    EXPECT_EQ(Written(Definite(0xFFFFFF), 4), "83 FF FF FF");
    EXPECT_EQ(Written(Definite(0x7FFFFFFF), 5), "84 7F FF FF FF");
    EXPECT_EQ(Written(Definite(0xFFFFFFFF), 5), "84 FF FF FF FF");
}

TEST(AsnContentSize, IndefiniteFormIgnoresTheSize) {
    EXPECT_EQ(Written({1, 300}, 1), "80");
}

TEST(AsnContentSize, WritingTheLastOctetLeavesTheCursorAtTheEndWhereNothingCanBeWritten) {
    const char* const message = "[AsnContentSize::Serialize] Not enough memory for ASN blob.";
    Blob blob(1);
    BlobCursor cursor = CursorOver(blob);
    Definite(5).Serialize(cursor);
    EXPECT_EQ(cursor.position, 1);
    EXPECT_EQ(MessageOf<NotEnoughMemoryForAsnBlob>([&] { Definite(5).Serialize(cursor); }),
              message);
    EXPECT_EQ(cursor.position, 1);
}

TEST(AsnContentSize, LongFormWithoutRoomFails) {
    const char* const message = "[AsnContentSize::Serialize] Not enough memory for ASN blob.";
    Blob blob(2);
    BlobCursor cursor = CursorOver(blob);
    EXPECT_EQ(MessageOf<NotEnoughMemoryForAsnBlob>([&] { Definite(256).Serialize(cursor); }),
              message);
    EXPECT_EQ(cursor.position, 0);
}

}  // namespace
}  // namespace pkisdk::asn
