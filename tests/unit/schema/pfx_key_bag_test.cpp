#include "schema/pfx_key_bag.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "foundation/asn_exceptions.h"
#include "support/asn_values.h"
#include "support/schema_samples.h"

namespace {

using pkisdk::asn::BadAsnContent;
using pkisdk::asn::BadAsnData;
using pkisdk::asn::UnexpactedAsnIdentifier;
using support::FromHex;
using support::MessageOf;
using support::ReadFailure;
using support::ReadHex;
using support::TextOf;
using support::ToHex;
using support::WrittenHex;

const std::string kOid = "06 0B 2A 86 48 86 F7 0D 01 0C 0A 01 02 ";
const std::string kKeyInfo = "30 4B " + support::kDefaultPbes2AlgIdentifier + " 04 02 AA BB";

TEST(PfxKeyBag, EmptyKeyWritesTheOidAndTheSetAlone) {
    const PfxKeyBag bag;
    EXPECT_EQ(TextOf(bag.oid), "1.2.840.113549.1.12.10.1.2");
    EXPECT_EQ(WrittenHex(bag), "30 0F " + kOid + "31 00");
}

TEST(PfxKeyBag, WithoutAttributesItsLastElementIsAnEmptySet) {
    PfxKeyBag bag;
    bag.pfxKeyInfo.encrKey = FromHex("AA BB");
    EXPECT_EQ(WrittenHex(bag), "30 5E " + kOid + "A0 4D " + kKeyInfo + " 31 00");
}

TEST(PfxKeyBag, ReadsKeyAndAttributes) {
    PfxKeyBag bag;
    bag.atributes.push_back(FromHex("05 00"));
    EXPECT_TRUE(ReadHex(bag, "30 62 " + kOid + "A0 4D " + kKeyInfo + " 31 04 30 00 02 00"));
    EXPECT_EQ(ToHex(bag.pfxKeyInfo.encrKey), "AA BB");
    ASSERT_EQ(bag.atributes.size(), 2U);
    EXPECT_EQ(ToHex(bag.atributes.front()), "30 00");
    EXPECT_EQ(ToHex(bag.atributes.back()), "02 00");
}

TEST(PfxKeyBag, AttributesKeepTheirOrderAndOctetsAlsoIfTheyAreIndefinite) {
    PfxKeyBag bag;
    EXPECT_TRUE(
        ReadHex(bag, "30 80 " + kOid + "31 80 30 80 05 00 00 00 30 02 05 00 02 01 05 00 00 00 00"));
    ASSERT_EQ(bag.atributes.size(), 3U);
    EXPECT_EQ(ToHex(bag.atributes.front()), "30 80 05 00 00 00");
    EXPECT_EQ(ToHex(*std::next(bag.atributes.begin())), "30 02 05 00");
    EXPECT_EQ(ToHex(bag.atributes.back()), "02 01 05");
    EXPECT_EQ(WrittenHex(bag), "30 1C " + kOid + "31 0D 30 80 05 00 00 00 30 02 05 00 02 01 05");
}

TEST(PfxKeyBag, BagWithoutAKeyReadsAndLeavesTheKeyCleared) {
    PfxKeyBag bag;
    bag.pfxKeyInfo.encrKey = FromHex("AA");
    EXPECT_TRUE(ReadHex(bag, "30 0F " + kOid + "31 00"));
    EXPECT_TRUE(bag.pfxKeyInfo.encrKey.IsEmpty());
    EXPECT_TRUE(bag.pfxKeyInfo.PBES2Sheme.oid.GetOctets().IsEmpty());
}

TEST(PfxKeyBag, BagWithoutTheSetOfAttributesFails) {
    PfxKeyBag bag;
    EXPECT_EQ(ReadFailure<BadAsnContent>(bag, "30 5C " + kOid + "A0 4D " + kKeyInfo),
              " Bad ASN object content. Unexpacted end of ASN object. Context: \"PfxKeyBag::\". "
              "Object: offset - 0; identifier - \"Sequence\". ");
    EXPECT_EQ(ToHex(bag.pfxKeyInfo.encrKey), "AA BB");
}

TEST(PfxKeyBag, EmptyTagInPlaceOfTheKeyFails) {
    PfxKeyBag bag;
    EXPECT_EQ(
        ReadFailure<BadAsnContent>(bag, "30 11 " + kOid + "A0 00 31 00"),
        "[Optional::Deserialize] Bad ASN object content. Optional object can't be empty. "
        "Context: \"PfxKeyBag::\". Object: offset - 15; identifier - \"Optional with tag=0\". ");
}

TEST(PfxKeyBag, KeyUnderAnotherTagFailsAtTheNextMember) {
    PfxKeyBag bag;
    EXPECT_EQ(
        ReadFailure<UnexpactedAsnIdentifier>(bag, "30 5E " + kOid + "A1 4D " + kKeyInfo + " 31 00"),
        " Unexpactid ASN identifier: current is \"Optional with tag=1\", but expacted "
        "\"Set\". Context: \"PfxKeyBag::.atributes\". Object: offset - 15; identifier - "
        "\"Optional with tag=1\". ");
    EXPECT_TRUE(bag.pfxKeyInfo.encrKey.IsEmpty());
}

TEST(PfxKeyBag, WrongIdentifierShowsThePath) {
    PfxKeyBag bag;
    EXPECT_EQ(
        ReadFailure<UnexpactedAsnIdentifier>(bag, "30 02 05 00"),
        " Unexpactid ASN identifier: current is \"Null\", but expacted \"ObjectId\". Context: "
        "\"PfxKeyBag::.oid\". Object: offset - 2; identifier - \"Null\". ");
    EXPECT_EQ(
        ReadFailure<UnexpactedAsnIdentifier>(bag, "30 07 06 01 2A A0 02 05 00",
                                             "AddPfxKeysToCSP.KeyInfo"),
        " Unexpactid ASN identifier: current is \"Null\", but expacted \"Sequence\". Context: "
        "\"AddPfxKeysToCSP.KeyInfo.pfxKeyInfo\". Object: offset - 7; identifier - \"Null\". ");
}

TEST(PfxKeyBag, AttributeThatDoesNotParseFailsOnWriting) {
    PfxKeyBag bag;
    bag.atributes.push_back(FromHex("30 05 00"));
    EXPECT_EQ(MessageOf<BadAsnData>([&] { WrittenHex(bag); }),
              "[AsnObjectReadable::CheckContentSize] End of object is out of ASN BLOB. Bad ASN "
              "data. Error in position 0.");
}

TEST(PfxKeyBag, ReadingClearsEveryFieldFirstButForHparams) {
    PfxKeyBag bag;
    auto& scheme = bag.pfxKeyInfo.PBES2Sheme;
    scheme.KezDeriv.additionalInfo.Synchr = FromHex("AA");
    scheme.KezDeriv.additionalInfo.Hparams = FromHex("BB");
    scheme.EncrScheme.additionalInfo.Synchr = FromHex("CC");
    bag.pfxKeyInfo.encrKey = FromHex("DD");
    bag.atributes.push_back(FromHex("05 00"));
    EXPECT_EQ(ReadFailure<BadAsnContent>(bag, "30 00"),
              " Bad ASN object content. Unexpacted end of ASN object. Context: \"PfxKeyBag::\". "
              "Object: offset - 0; identifier - \"Sequence\". ");
    EXPECT_TRUE(bag.oid.GetOctets().IsEmpty());
    EXPECT_TRUE(scheme.oid.GetOctets().IsEmpty());
    EXPECT_TRUE(scheme.KezDeriv.oid.GetOctets().IsEmpty());
    EXPECT_TRUE(scheme.KezDeriv.additionalInfo.Synchr.IsEmpty());
    EXPECT_EQ(scheme.KezDeriv.additionalInfo.IterCount, 0U);
    EXPECT_TRUE(scheme.KezDeriv.additionalInfo.EncrParams.GetOctets().IsEmpty());
    EXPECT_EQ(ToHex(scheme.KezDeriv.additionalInfo.Hparams), "BB");
    EXPECT_TRUE(scheme.EncrScheme.oid.GetOctets().IsEmpty());
    EXPECT_TRUE(scheme.EncrScheme.additionalInfo.Synchr.IsEmpty());
    EXPECT_TRUE(scheme.EncrScheme.additionalInfo.EncrParams.GetOctets().IsEmpty());
    EXPECT_TRUE(bag.pfxKeyInfo.encrKey.IsEmpty());
    EXPECT_TRUE(bag.atributes.empty());
}

TEST(PfxKeyBag, NullHparamsOfTheDataLeaveTheEarlierOnesInPlace) {
    PfxKeyBag bag;
    bag.pfxKeyInfo.PBES2Sheme.KezDeriv.additionalInfo.Hparams = FromHex("BB");
    EXPECT_TRUE(ReadHex(bag, "30 5E " + kOid + "A0 4D " + kKeyInfo + " 31 00"));
    EXPECT_EQ(ToHex(bag.pfxKeyInfo.PBES2Sheme.KezDeriv.additionalInfo.Hparams), "BB");
}

}  // namespace
