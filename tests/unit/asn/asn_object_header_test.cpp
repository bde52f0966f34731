#include "asn/asn_object_header.h"

#include <gtest/gtest.h>

#include "asn/asn_cursor.h"
#include "foundation/asn_exceptions.h"
#include "support/octets.h"
#include "support/sized_blob.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::MessageOf;

std::string Failure(IBlob& blob, std::int32_t position) {
    BlobCursor cursor{&blob, position};
    return MessageOf<BadAsnData>([&] { AsnObjectHeader{cursor}; });
}

TEST(AsnObjectHeader, DefaultIsTheDefaultIdentifierAndZeroes) {
    const AsnObjectHeader header;
    EXPECT_EQ(header.identifier, AsnIdentifier());
    EXPECT_EQ(header.contentSize, (AsnContentSize{0, 0}));
}

TEST(AsnObjectHeader, BlobOfOneOctetFailsHoweverValidThatOctetIs) {
    for (const char* const hex : {"05", "30", "00"}) {
        Blob blob = FromHex(hex);
        EXPECT_EQ(Failure(blob, 0), "[AsnObjectHeader parsing] Bad ASN data. Error in position 0.");
    }
}

TEST(AsnObjectHeader, TwoOctetsParseAsNullAndTheCursorStandsAtTheEnd) {
    Blob blob = FromHex("05 00");
    BlobCursor cursor = CursorOver(blob);
    const AsnObjectHeader header(cursor);
    EXPECT_EQ(header.identifier, kNullIdentifier);
    EXPECT_EQ(header.contentSize, (AsnContentSize{0, 0}));
    EXPECT_EQ(cursor.position, 2);
}

TEST(AsnObjectHeader, CursorThatPointsNowhereFails) {
    Blob blob = FromHex("05 00");
    EXPECT_EQ(Failure(blob, kPositionPastEnd), "[AsnObjectHeader parsing] Bad ASN data.");
    EXPECT_EQ(Failure(blob, 2),
              "[AsnObjectHeader parsing] Bad ASN data. Unexpacted end of asn data.");
    Blob empty;
    BlobCursor cursor = CursorOver(empty);
    EXPECT_EQ(cursor.position, kPositionOfEmptyBlob);
    EXPECT_EQ(Failure(empty, cursor.position), "[AsnObjectHeader parsing] Bad ASN data.");
}

TEST(AsnObjectHeader, IdentifierThatTakesAllOctetsLeavesNoLength) {
    Blob blob = FromHex("1F 05");
    EXPECT_EQ(Failure(blob, 0),
              "[AsnContentSize::ReadContentSize] Bad ASN data. Unexpacted end of asn data.");
}

TEST(AsnObjectHeader, BlobOf2To31OctetsHasNoPositionThatIsValid) {
    support::SizedBlob blob(FromHex("05 00"), std::uint64_t{1} << 31);
    EXPECT_FALSE(IsValid(CursorOver(blob)));
    EXPECT_EQ(Failure(blob, 0), "[AsnObjectHeader parsing] Bad ASN data. Error in position 0.");
}

TEST(AsnCursor, PositionIsValidBelowTheSizeAsASignedNumber) {
    const auto validAt = [](std::uint64_t size, std::int32_t position) {
        support::SizedBlob blob(Blob(1), size);
        return IsValid({&blob, position});
    };
    EXPECT_TRUE(validAt(3, 0));
    EXPECT_TRUE(validAt(3, 2));
    EXPECT_FALSE(validAt(3, 3));
    EXPECT_FALSE(validAt(3, -1));
    EXPECT_TRUE(validAt(0x7FFFFFFF, 0x7FFFFFFE));
    EXPECT_FALSE(validAt(0x80000000, 0));
    EXPECT_FALSE(validAt(0xFFFFFFFF, 0));
    EXPECT_FALSE(validAt(0x100000000, 0));
    EXPECT_TRUE(validAt(0x100000003, 2));
    EXPECT_FALSE(validAt(0x100000003, 3));
}

TEST(AsnCursor, PlaceForAMessageIsInsidePastTheEndOrBeforeTheStart) {
    Blob blob(3);
    EXPECT_EQ(CursorAt(blob, 0).position, 0);
    EXPECT_EQ(CursorAt(blob, 2).position, 2);
    EXPECT_EQ(CursorAt(blob, 3).position, kPositionPastEnd);
    EXPECT_EQ(CursorAt(blob, -1).position, kPositionBeforeStart);
}

}  // namespace
}  // namespace pkisdk::asn
