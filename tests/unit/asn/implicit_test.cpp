#include "asn/implicit.h"

#include <gtest/gtest.h>

#include "asn/asn_encoders.h"
#include "asn/sequence.h"
#include "foundation/asn_exceptions.h"
#include "support/asn_values.h"
#include "support/octets.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::ReadFailure;
using support::ReadHex;
using support::ToHex;
using support::WrittenHex;

using ImplicitBlob = Implicit<BinaryContentEncoder, Blob>;
using ReadableImplicitBlob = readable::Implicit<BinaryContentEncoder, Blob>;

TEST(Implicit, EmptyBlobWritesNothingAtAll) {
    const Blob blob;
    const ReadableImplicitBlob member("", &blob, 0, &Blob::IsEmpty);
    EXPECT_EQ(WrittenHex(member), "nothing");
    readable::Sequence sequence(kSequenceIdentifier);
    sequence.Add(member);
    EXPECT_EQ(WrittenHex(sequence), "30 00");
}

TEST(Implicit, WithoutATestAnEmptyBlobIsWritten) {
    const Blob blob;
    EXPECT_EQ(WrittenHex(ReadableImplicitBlob("", &blob, 0, nullptr)), "80 00");
}

TEST(Implicit, WritesAPrimitiveContextTag) {
    const Blob blob = FromHex("AA");
    EXPECT_EQ(WrittenHex(ReadableImplicitBlob("", &blob, 0, &Blob::IsEmpty)), "80 01 AA");
    EXPECT_EQ(WrittenHex(ReadableImplicitBlob("", &blob, 31, &Blob::IsEmpty)), "9F 1F 01 AA");
}

TEST(Implicit, TakesTheTagItIsBoundToAlone) {
    Blob blob;
    ImplicitBlob member("", &blob, 0, &Blob::IsEmpty);
    EXPECT_TRUE(member.IsOptional());
    EXPECT_FALSE(ReadHex(member, "81 01 AA"));
    EXPECT_FALSE(ReadHex(member, "04 01 AA"));
    EXPECT_FALSE(member.DeserializeFromAsnObject({}, ""));
    EXPECT_TRUE(blob.IsEmpty());
    EXPECT_TRUE(ReadHex(member, "80 01 AA"));
    EXPECT_EQ(ToHex(blob), "AA");

    ImplicitBlob high("", &blob, 1000, &Blob::IsEmpty);
    EXPECT_FALSE(ReadHex(high, "9F 1F 01 BB"));
    EXPECT_TRUE(ReadHex(high, "9F 87 68 01 BB"));
    EXPECT_EQ(ToHex(blob), "BB");
}

TEST(Implicit, ConstructedFormIsNotTaken) {
    Blob blob;
    ImplicitBlob member("", &blob, 0, &Blob::IsEmpty);
    EXPECT_FALSE(ReadHex(member, "A0 03 04 01 AA"));
    EXPECT_TRUE(blob.IsEmpty());
}

TEST(Implicit, ReadableTwinFailsAtOnceWhateverTheObject) {
    const Blob blob;
    ReadableImplicitBlob member("", &blob, 0, &Blob::IsEmpty);
    for (const char* const hex : {"80 01 AA", "05 00"}) {
        EXPECT_EQ(ReadFailure<AsnException>(member, hex),
                  "[asn::readable::Implicit::Deserialize] Method is not implemented.");
    }
}

}  // namespace
}  // namespace pkisdk::asn
