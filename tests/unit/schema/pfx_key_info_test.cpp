#include "schema/pfx_key_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "foundation/asn_exceptions.h"
#include "support/asn_values.h"
#include "support/schema_samples.h"

namespace {

using pkisdk::asn::BadAsnContent;
using support::FromHex;
using support::ReadFailure;
using support::ReadHex;
using support::ToHex;
using support::WrittenHex;

const std::string kKeyInfo = "30 4B " + support::kDefaultPbes2AlgIdentifier + " 04 02 AA BB";

TEST(PfxKeyInfo, WritesAndReadsItsKey) {
    PfxKeyInfo info;
    EXPECT_EQ(WrittenHex(info), "30 49 " + support::kDefaultPbes2AlgIdentifier + " 04 00");
    info.encrKey = FromHex("AA BB");
    EXPECT_EQ(WrittenHex(info), kKeyInfo);
    PfxKeyInfo read;
    EXPECT_TRUE(ReadHex(read, kKeyInfo));
    EXPECT_EQ(ToHex(read.encrKey), "AA BB");
    EXPECT_EQ(WrittenHex(read), kKeyInfo);
}

TEST(PfxKeyInfo, ReadingClearsEveryFieldFirstButForHparams) {
    PfxKeyInfo info;
    info.encrKey = FromHex("AA");
    info.PBES2Sheme.KezDeriv.additionalInfo.Hparams = FromHex("CC");
    EXPECT_EQ(ReadFailure<BadAsnContent>(info, "30 00"),
              " Bad ASN object content. Unexpacted end of ASN object. Context: \"PfxKeyInfo::\". "
              "Object: offset - 0; identifier - \"Sequence\". ");
    EXPECT_TRUE(info.encrKey.IsEmpty());
    EXPECT_TRUE(info.PBES2Sheme.oid.GetOctets().IsEmpty());
    EXPECT_EQ(ToHex(info.PBES2Sheme.KezDeriv.additionalInfo.Hparams), "CC");
}

TEST(PfxKeyInfo, AWrongKeyShowsThePath) {
    PfxKeyInfo object;
    EXPECT_THAT(ReadFailure<pkisdk::asn::UnexpactedAsnIdentifier>(
                    object, "30 49 " + support::kDefaultPbes2AlgIdentifier + " 05 00"),
                testing::HasSubstr("Context: \"PfxKeyInfo::.encrKey\"."));
}

}  // namespace
