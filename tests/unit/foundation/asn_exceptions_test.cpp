#include "foundation/asn_exceptions.h"

#include <gtest/gtest.h>

#include <locale>
#include <string>
#include <type_traits>

namespace pkisdk::asn {
namespace {

class Place : public IAsnObjectPlace {
  public:
    explicit Place(std::int32_t offset) : offset_(offset) {}
    std::int32_t GetPlaceOffset() const override { return offset_; }
    std::string GetPlaceIdentifierName() const override { return "INTEGER"; }

  private:
    std::int32_t offset_;
};

TEST(UnexpactedAsnIdentifier, WithoutContextAndObjectEndsInTwoSpaces) {
    const UnexpactedAsnIdentifier error(nullptr, "SEQUENCE", "[Here]", "");
    EXPECT_EQ(error.message,
              "[Here] Unexpactid ASN identifier: current is \"\", but expacted \"SEQUENCE\".  ");
    EXPECT_EQ(error.code, 0x0A000005U);
}

TEST(UnexpactedAsnIdentifier, NamesContextAndObject) {
    const Place place(12);
    const UnexpactedAsnIdentifier error(&place, "SEQUENCE", "[Here]", "A.B");
    EXPECT_EQ(error.message,
              "[Here] Unexpactid ASN identifier: current is \"INTEGER\", but expacted "
              "\"SEQUENCE\". Context: \"A.B\". Object: offset - 12; identifier - \"INTEGER\". ");
}

TEST(BadAsnData, CursorAtTheEndSaysSo) {
    Blob blob(3);
    const BadAsnData error(BlobCursor{&blob, 3}, "[Here]");
    EXPECT_EQ(error.message, "[Here] Bad ASN data. Unexpacted end of asn data.");
    EXPECT_EQ(error.code, 0x0A000001U);
    EXPECT_EQ(BadAsnData(BlobCursor{&blob, 7}, "[Here]").message, error.message);
}

TEST(BadAsnData, CursorInsideTellsItsPosition) {
    Blob blob(3);
    const BadAsnData error(BlobCursor{&blob, 2}, "[Here]");
    EXPECT_EQ(error.message, "[Here] Bad ASN data. Error in position 2.");
}

// Groups digits by threes, as the user's locale may.
class Grouping : public std::numpunct<char> {
    char do_thousands_sep() const override { return ' '; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(BadAsnData, OffsetsStayPlainDecimalWhereTheProcessLocaleGroupsDigits) {
    const Place place(7654321);
    Blob blob(2000000);
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    const std::string atCursor = BadAsnData(BlobCursor{&blob, 1234567}, "[Here]").message;
    const std::string atObject = BadAsnData(&place, "[Here]", "Detail.", "").message;
    std::locale::global(before);
    EXPECT_EQ(atCursor, "[Here] Bad ASN data. Error in position 1234567.");
    EXPECT_EQ(atObject, "[Here] Detail.Object: offset - 7654321; identifier - \"INTEGER\". ");
}

TEST(BadAsnData, NegativeCursorHasNoTail) {
    Blob blob(3);
    const BadAsnData error(BlobCursor{&blob, -3}, "[Here]");
    EXPECT_EQ(error.message, "[Here] Bad ASN data.");
}

TEST(BadAsnData, OverAnObjectCarriesTheDetailAndNoCode) {
    const Place place(-7);
    const BadAsnData error(&place, "[Here]", "Detail.", "Ctx");
    EXPECT_EQ(error.message,
              "[Here] Context: \"Ctx\". Detail.Object: offset - -1; identifier - \"INTEGER\". ");
    EXPECT_EQ(error.code, 0U);
    EXPECT_EQ(BadAsnData(nullptr, "[Here]", "Detail.", "").message, "[Here] Detail. ");
}

TEST(BadConversion, NamesTheTypeAsked) {
    const Place place(0);
    const BadConversion error(&place, "ASN ObjectId", "[ASN ObjectId reading]", "");
    EXPECT_EQ(error.message,
              "[ASN ObjectId reading] Can't read cantent as ASN ObjectId. "
              "Object: offset - 0; identifier - \"INTEGER\". ");
    EXPECT_EQ(error.code, 0x0A000003U);
}

TEST(BadAsnContent, CarriesTheDetail) {
    const BadAsnContent error(nullptr, "[Here]", "Detail.", "Ctx");
    EXPECT_EQ(error.message, "[Here] Bad ASN object content. Detail. Context: \"Ctx\".  ");
    EXPECT_EQ(error.code, 0x0A000004U);
}

TEST(NotEnoughMemoryForAsnBlob, NamesItsPlace) {
    const NotEnoughMemoryForAsnBlob error("[Here]");
    EXPECT_EQ(error.message, "[Here] Not enough memory for ASN blob.");
    EXPECT_EQ(error.code, 0x0A000002U);
}

TEST(AsnExceptions, CopyHasTheSameTextAndCode) {
    const BadAsnContent original(nullptr, "[Here]", "Detail.", "");
    const BadAsnContent copy = original;
    EXPECT_EQ(copy.message, original.message);
    EXPECT_STREQ(copy.what(), original.what());
    EXPECT_EQ(copy.code, original.code);
}

TEST(AsnExceptions, AreOneFamily) {
    static_assert(std::is_base_of_v<std::exception, Exception>);
    static_assert(std::is_base_of_v<Exception, AsnException>);
    EXPECT_THROW(throw BadAsnContent(nullptr, "", "", ""), AsnException);
    EXPECT_THROW(throw BadConversion(nullptr, "", "", ""), AsnException);
    EXPECT_THROW(throw NotEnoughMemoryForAsnBlob(""), AsnException);
    EXPECT_THROW(throw UnexpactedAsnIdentifier(nullptr, "", "", ""), AsnException);
    EXPECT_THROW(throw BadAsnData(nullptr, "", "", ""), AsnException);
}

}  // namespace
}  // namespace pkisdk::asn
