#include "asn/asn_encoders.h"

#include <gtest/gtest.h>

#include <list>
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

std::string EncodedInteger(std::uint32_t value) {
    return ToHex(IntegerEncoder::Encode(value, kIntegerIdentifier)->GetContent());
}

std::string Encoded(const std::list<Blob>& elements) {
    Blob blob;
    AsnBlobCollectionEncoder::Encode(elements, kSetIdentifier)->Serialize(&blob);
    return ToHex(blob);
}

std::list<std::string> DecodedElements(const char* hex) {
    const Blob blob = FromHex(hex);
    std::list<Blob> elements(3);
    AsnBlobCollectionEncoder::Decode(AsnObjectReadable::FromBlob(blob), &elements);
    std::list<std::string> texts;
    for (const Blob& element : elements) {
        texts.push_back(ToHex(element));
    }
    return texts;
}

using Texts = std::list<std::string>;

TEST(IntegerEncoder, WritesTheFewestOctetsThatReadBackTheSame) {
    EXPECT_EQ(EncodedInteger(0), "00");
    EXPECT_EQ(EncodedInteger(0x7F), "7F");
    EXPECT_EQ(EncodedInteger(0x80), "00 80");
    EXPECT_EQ(EncodedInteger(0xFF), "00 FF");
    EXPECT_EQ(EncodedInteger(0x100), "01 00");
    EXPECT_EQ(EncodedInteger(0x7D0), "07 D0");
    EXPECT_EQ(EncodedInteger(0x8000), "00 80 00");
    EXPECT_EQ(EncodedInteger(0x7FFFFF), "7F FF FF");
    EXPECT_EQ(EncodedInteger(0x800000), "00 80 00 00");
    EXPECT_EQ(EncodedInteger(0x7FFFFFFF), "7F FF FF FF");
}

TEST(IntegerEncoder, TopBitTakesFourOctetsWithoutALeadingZero) {
    EXPECT_EQ(EncodedInteger(0x80000000), "80 00 00 00");
    EXPECT_EQ(EncodedInteger(0xFFFFFFFF), "FF FF FF FF");
}

TEST(IntegerEncoder, ReaderRestoresEveryValue) {
    for (const std::uint32_t value :
         {0U, 1U, 0x7FU, 0x80U, 0xFFU, 0x7FFFU, 0x8000U, 0xFFFFU, 0x7FFFFFU, 0x800000U, 0xFFFFFFU,
          0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        Blob blob;
        IntegerEncoder::Encode(value, kIntegerIdentifier)->Serialize(&blob);
        std::uint32_t read = ~value;
        IntegerEncoder::Decode(AsnObjectReadable::FromBlob(blob), &read);
        EXPECT_EQ(read, value);
    }
}

TEST(ObjectIdEncoder, CopiesTheOctets) {
    ObjectId oid;
    oid.SetText("2.5.4.3");
    EXPECT_EQ(ToHex(ObjectIdEncoder::Encode(oid, kObjectIdIdentifier)->GetContent()), "55 04 03");
    EXPECT_EQ(ToHex(ObjectIdEncoder::Encode({}, kObjectIdIdentifier)->GetContent()), "");
}

TEST(ObjectIdEncoder, ReadsWhatItWrites) {
    const Blob blob = FromHex("06 03 55 04 03");
    ObjectId oid;
    ObjectIdEncoder::Decode(AsnObjectReadable::FromBlob(blob), &oid);
    EXPECT_EQ(ToHex(oid.GetOctets()), "55 04 03");
}

TEST(BinaryContentEncoder, EmptyContentEmptiesTheBlob) {
    const Blob blob = FromHex("04 00");
    Blob read = FromHex("AA BB CC");
    BinaryContentEncoder::Decode(AsnObjectReadable::FromBlob(blob), &read);
    EXPECT_TRUE(read.IsEmpty());
}

TEST(BinaryContentEncoder, NodeBorrowsTheBlob) {
    const Blob value = FromHex("00 FF");
    EXPECT_EQ(&BinaryContentEncoder::Encode(value, kOctetStringIdentifier)->GetContent(), &value);
}

TEST(BinaryContentEncoder, BlobGoesOutAndComesBack) {
    const Blob value = FromHex("00 FF");
    EXPECT_EQ(ToHex(BinaryContentEncoder::Encode(value, kOctetStringIdentifier)->GetContent()),
              "00 FF");
    const Blob blob = FromHex("04 02 00 FF");
    Blob read = FromHex("AA BB CC");
    BinaryContentEncoder::Decode(AsnObjectReadable::FromBlob(blob), &read);
    EXPECT_EQ(ToHex(read), "00 FF");
}

TEST(ByteStringEncoder, AsciiAndNuls) {
    const auto node = ByteStringEncoder::Encode(Wide({'A', 0, 'B'}), kPrintableStringIdentifier);
    EXPECT_EQ(node->GetIdentifier(), kPrintableStringIdentifier);
    EXPECT_EQ(ToHex(node->GetContent()), "41 00 42");
    EXPECT_TRUE(ByteStringEncoder::Encode(L"", kPrintableStringIdentifier)->GetContent().IsEmpty());
}

TEST(ByteStringEncoder, ReadsWhatItWrites) {
    const Blob blob = FromHex("13 03 41 00 42");
    std::wstring text = L"other";
    ByteStringEncoder::Decode(AsnObjectReadable::FromBlob(blob), &text);
    EXPECT_EQ(text, Wide({'A', 0, 'B'}));
}

TEST(ByteStringEncoder, ReadsObjectsOfAnyType) {
    const Blob blob = FromHex("04 02 41 42");
    std::wstring text;
    ByteStringEncoder::Decode(AsnObjectReadable::FromBlob(blob), &text);
    EXPECT_EQ(text, L"AB");
}

TEST(ByteStringEncoder, IsTextOfTheUsersLocale) {
    if (GetACP() != CP_UTF8) {
        GTEST_SKIP() << "needs a user's locale in UTF-8";
    }
    EXPECT_EQ(ToHex(ByteStringEncoder::Encode(Wide({0x416, 0x1F600}), kPrintableStringIdentifier)
                        ->GetContent()),
              "D0 96 F0 9F 98 80");
}

TEST(AsnBlobCollectionEncoder, EmptyListIs3100) {
    EXPECT_EQ(Encoded({}), "31 00");
}

TEST(AsnBlobCollectionEncoder, JoinsTheElementsInTheirOrder) {
    EXPECT_EQ(Encoded({FromHex("30 00"), FromHex("05 00"), FromHex("02 01 05")}),
              "31 07 30 00 05 00 02 01 05");
}

TEST(AsnBlobCollectionEncoder, InvalidBlobFailsWhileTheNodeIsMade) {
    EXPECT_EQ(MessageOf<BadAsnData>([] {
                  Encoded({FromHex("05 00"), FromHex("04 02 AA")});
              }),
              "[AsnObjectReadable::CheckContentSize] End of object is out of ASN BLOB. Bad ASN "
              "data. Error in position 0.");
    EXPECT_EQ(MessageOf<BadAsnData>([] { Encoded({Blob()}); }),
              "[AsnObjectHeader parsing] Bad ASN data.");
}

TEST(AsnBlobCollectionEncoder, ListReadBackKeepsItsOrder) {
    EXPECT_EQ(DecodedElements("31 07 30 00 05 00 02 01 05"), (Texts{"30 00", "05 00", "02 01 05"}));
    EXPECT_EQ(DecodedElements("31 00"), Texts{});
}

TEST(AsnBlobCollectionEncoder, IndefiniteElementsStayAsTheyStand) {
    EXPECT_EQ(DecodedElements("31 80 30 80 05 00 00 00 05 00 00 00"),
              (Texts{"30 80 05 00 00 00", "05 00"}));
}

TEST(AsnBlobCollectionEncoder, ElementsWhoseOctetIsZeroAreSkipped) {
    EXPECT_EQ(DecodedElements("31 09 00 01 AA 05 00 00 00 02 00"), (Texts{"05 00", "02 00"}));
}

TEST(AsnBlobCollectionEncoder, EmptyIndefiniteElementTakesTwoOctetsMore) {
    EXPECT_EQ(DecodedElements("31 08 30 80 00 00 05 00 02 00"),
              (Texts{"30 80 00 00 05 00", "02 00"}));
}

}  // namespace
}  // namespace pkisdk::asn
