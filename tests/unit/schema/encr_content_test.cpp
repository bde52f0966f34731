#include "schema/encr_content.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/asn_exceptions.h"
#include "support/asn_values.h"
#include "support/schema_samples.h"

namespace {

using pkisdk::asn::UnexpactedAsnIdentifier;
using support::FromHex;
using support::ReadFailure;
using support::ReadHex;
using support::ToHex;
using support::WrittenHex;

const std::string kOid = "06 09 2A 86 48 86 F7 0D 01 07 01 ";
// The defaults, without content and with one octet of it.
const std::string kEmptyInfo = "30 52 " + kOid + support::kDefaultPbes2AlgIdentifier;
const std::string kInfo = "30 55 " + kOid + support::kDefaultPbes2AlgIdentifier + " 80 01 AA";

TEST(EncrContent, VersionZeroIsItsFirstElement) {
    const EncrContent content;
    EXPECT_EQ(content.ver, 0U);
    EXPECT_EQ(WrittenHex(content), "30 57 02 01 00 " + kEmptyInfo);
}

TEST(EncrContent, ReadsWhatItWrites) {
    EncrContent content;
    content.ver = 2;
    content.encrContentInfo.EncryptedData = FromHex("AA");
    EXPECT_EQ(WrittenHex(content), "30 5A 02 01 02 " + kInfo);
    EncrContent read;
    EXPECT_TRUE(ReadHex(read, "30 5A 02 01 02 " + kInfo));
    EXPECT_EQ(read.ver, 2U);
    EXPECT_EQ(ToHex(read.encrContentInfo.EncryptedData), "AA");
}

TEST(EncrContent, ListOfAttributesIsClearedByReadingAndNeverWritten) {
    EncrContent content;
    content.unprotectedAttributes.push_back(FromHex("05 00"));
    EXPECT_EQ(WrittenHex(content), "30 57 02 01 00 " + kEmptyInfo);
    EXPECT_TRUE(ReadHex(content, "30 5B 02 01 02 " + kEmptyInfo + " A1 02 05 00"));
    EXPECT_TRUE(content.unprotectedAttributes.empty());
}

TEST(EncrContent, VersionStandsUntilItsElementIsRead) {
    EncrContent content;
    content.ver = 7;
    content.encrContentInfo.EncryptedData = FromHex("AA");
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(content, "30 02 05 00"),
              " Unexpactid ASN identifier: current is \"Null\", but expacted \"Integer\". Context: "
              "\"EncryptedContent::.ver\". Object: offset - 2; identifier - \"Null\". ");
    EXPECT_EQ(content.ver, 7U);
    EXPECT_TRUE(content.encrContentInfo.EncryptedData.IsEmpty());
    EXPECT_TRUE(content.encrContentInfo.oid.GetOctets().IsEmpty());
}

TEST(EncrContent, DeepFailureShowsTheWholePath) {
    EncrContent content;
    const std::string data =
        "30 1A 02 01 00 30 15 06 01 2A 30 10 06 01 2A 30 0B 30 09 06 01 2A 30 04 04 00 05 00";
    EXPECT_EQ(
        ReadFailure<UnexpactedAsnIdentifier>(content, data),
        " Unexpactid ASN identifier: current is \"Null\", but expacted \"Integer\". Context: "
        "\"EncryptedContent::.encrContentInfo.PBES2Sheme.KezDeriv.additionalInfo.IterCount\". "
        "Object: offset - 26; identifier - \"Null\". ");
    EXPECT_EQ(
        ReadFailure<UnexpactedAsnIdentifier>(content, data, "certBag"),
        " Unexpactid ASN identifier: current is \"Null\", but expacted \"Integer\". Context: "
        "\"certBag.encrContentInfo.PBES2Sheme.KezDeriv.additionalInfo.IterCount\". Object: offset "
        "- 26; identifier - \"Null\". ");
}

TEST(EncrContent, NullHparamsOfTheDataLeaveTheEarlierOnesInPlace) {
    EncrContent content;
    content.encrContentInfo.PBES2Sheme.KezDeriv.additionalInfo.Hparams = FromHex("BB");
    EXPECT_TRUE(ReadHex(content, "30 57 02 01 00 " + kEmptyInfo));
    EXPECT_EQ(ToHex(content.encrContentInfo.PBES2Sheme.KezDeriv.additionalInfo.Hparams), "BB");
}

}  // namespace
