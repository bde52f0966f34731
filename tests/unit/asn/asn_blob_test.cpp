#include "asn/asn_blob.h"

#include <gtest/gtest.h>

#include "foundation/asn_exceptions.h"
#include "support/asn_values.h"
#include "support/octets.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::MessageOf;
using support::ReadFailure;
using support::ReadHex;
using support::ToHex;
using support::WrittenHex;

TEST(AsnBlob, EmptyBlobAddsNoNode) {
    const Blob blob;
    const readable::AsnBlob member("", &blob);
    const auto parent = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    EXPECT_EQ(member.SerializeToAsnNode(parent), nullptr);
    EXPECT_EQ(parent->CalculateContentSize(), 0U);
}

TEST(AsnBlob, WritesTheFirstObjectAlone) {
    const Blob blob = FromHex("30 02 05 00 02 01 05");
    EXPECT_EQ(WrittenHex(readable::AsnBlob("", &blob)), "30 02 05 00");
    const Blob indefinite = FromHex("30 80 05 00 00 00 AA");
    EXPECT_EQ(WrittenHex(readable::AsnBlob("", &indefinite)), "30 80 05 00 00 00");
}

TEST(AsnBlob, NodeIsAddedToTheParent) {
    const Blob blob = FromHex("02 01 05");
    const auto parent = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    const AsnNodeHandle node = readable::AsnBlob("", &blob).SerializeToAsnNode(parent);
    EXPECT_EQ(node->GetParent(), parent.get());
    EXPECT_EQ(parent->CalculateContentSize(), 3U);
}

TEST(AsnBlob, BlobWithoutAnObjectFails) {
    const Blob blob = FromHex("30 02 05");
    EXPECT_EQ(MessageOf<BadAsnData>([&] { WrittenHex(readable::AsnBlob("", &blob)); }),
              "[AsnObjectReadable::CheckContentSize] End of object is out of ASN BLOB. Bad ASN "
              "data. Error in position 0.");
}

TEST(AsnBlob, TakesAnyObjectWhole) {
    Blob blob;
    AsnBlob member("", &blob);
    EXPECT_TRUE(ReadHex(member, "9F 1F 01 AA BB"));
    EXPECT_EQ(ToHex(blob), "9F 1F 01 AA");
}

TEST(AsnBlob, ReadableTwinFailsAtOnceWhateverTheObject) {
    const Blob blob;
    readable::AsnBlob member("", &blob);
    EXPECT_EQ(ReadFailure<AsnException>(member, "30 00"),
              "[asn::readable::AsnBlob::DeserializeFromAsnObject] Method is not implemented.");
}

}  // namespace
}  // namespace pkisdk::asn
