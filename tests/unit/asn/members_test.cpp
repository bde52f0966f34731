// Members over single values: mandatory, implicit, explicit, nullable, wrapped, encoded.
#include <gtest/gtest.h>

#include <string>

#include "asn/asn_blob.h"
#include "asn/implicit.h"
#include "asn/nullable.h"
#include "asn/optional.h"
#include "asn/primitive_serializable.h"
#include "asn/sequence.h"
#include "asn/serializable_wrapper.h"
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

using ImplicitBlob = Implicit<BinaryContentEncoder, Blob>;
using ReadableImplicitBlob = readable::Implicit<BinaryContentEncoder, Blob>;

// A schema class of one field, as the wrapper wants it.
struct Holder : IAsnSerializable {
    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override {
        contextSeen = context;
        OctetStringMember member(".value", &value);
        return member.DeserializeFromAsnObject(object, context);
    }
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override {
        return readable::OctetStringMember(".value", &value).SerializeToAsnNode(parent);
    }

    Blob value;
    std::string contextSeen;
};

using HolderMember = SerializableWrapper<Holder>;
using OptionalHolder = Optional<HolderMember>;

TEST(PrimitiveSerializable, WritesAndReadsItsValue) {
    std::uint32_t value = 5;
    IntegerMember member(".number", &value);
    EXPECT_EQ(WrittenHex(member), "02 01 05");
    EXPECT_TRUE(ReadHex(member, "02 02 07 D0"));
    EXPECT_EQ(value, 2000U);
    EXPECT_FALSE(member.IsOptional());
}

TEST(PrimitiveSerializable, EveryInstanceHasItsIdentifier) {
    const Blob blob = FromHex("AA");
    ObjectId oid;
    oid.SetText("2.5.4.3");
    const std::list<Blob> elements = {FromHex("05 00")};
    const std::wstring text = L"A";
    EXPECT_EQ(WrittenHex(readable::OctetStringMember("", &blob)), "04 01 AA");
    EXPECT_EQ(WrittenHex(readable::ObjectIdMember("", &oid)), "06 03 55 04 03");
    EXPECT_EQ(WrittenHex(readable::BlobSetMember("", &elements)), "31 02 05 00");
    EXPECT_EQ(WrittenHex(readable::ByteStringMember("", &text)), "13 01 41");
}

TEST(PrimitiveSerializable, AddsItsNameToTheContext) {
    std::uint32_t value = 7;
    IntegerMember member(".number", &value);
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(member, "04 01 05", "Path"),
              " Unexpactid ASN identifier: current is \"OctetString\", but expacted \"Integer\". "
              "Context: \"Path.number\". Object: offset - 0; identifier - \"OctetString\". ");
    EXPECT_EQ(value, 7U);
}

TEST(PrimitiveSerializable, EnumeratedFailsAtTheIdentifierWhereTheDecoderWouldTakeIt) {
    std::uint32_t value = 0;
    IntegerMember member("", &value);
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(member, "0A 01 02"),
              " Unexpactid ASN identifier: current is \"Enumerated\", but expacted \"Integer\". "
              "Object: offset - 0; identifier - \"Enumerated\". ");
}

TEST(PrimitiveSerializable, AddsItsNodeToTheParent) {
    const auto parent = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    const std::uint32_t value = 5;
    const AsnNodeHandle node = readable::IntegerMember("", &value).SerializeToAsnNode(parent);
    EXPECT_EQ(node->GetParent(), parent.get());
    EXPECT_EQ(parent->CalculateContentSize(), 3U);
}

TEST(ReadableMember, FailsAtOnceWhateverTheObject) {
    const Blob blob = FromHex("AA");
    const std::uint32_t number = 0;
    readable::OctetStringMember primitive("", &blob);
    EXPECT_EQ(ReadFailure<AsnException>(primitive, "04 01 AA"),
              "[asn::readable::PrimitiveSerializable::Deserialize] Method is not implemented.");
    readable::IntegerMember integer("", &number);
    EXPECT_EQ(ReadFailure<AsnException>(integer, "05 00"),
              "[asn::readable::PrimitiveSerializable::Deserialize] Method is not implemented.");
    ReadableImplicitBlob implicit("", &blob, 0, &Blob::IsEmpty);
    EXPECT_EQ(ReadFailure<AsnException>(implicit, "80 01 AA"),
              "[asn::readable::Implicit::Deserialize] Method is not implemented.");
    readable::Sequence sequence(kSequenceIdentifier);
    EXPECT_EQ(ReadFailure<AsnException>(sequence, "30 00"),
              "[asn::readable::Sequence::DeserializeFromAsnObject] Method is not implemented.");
    readable::AsnBlob encoded("", &blob);
    EXPECT_EQ(ReadFailure<AsnException>(encoded, "30 00"),
              "[asn::readable::AsnBlob::DeserializeFromAsnObject] Method is not implemented.");
}

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

TEST(Optional, EmptyValueWritesNothing) {
    const Holder holder;
    const OptionalHolder member({".holder", &holder}, 0, {&holder.value, &Blob::IsEmpty});
    EXPECT_EQ(WrittenHex(member), "nothing");
}

TEST(Optional, WritesItsMemberUnderAnExplicitTag) {
    Holder holder;
    holder.value = FromHex("AA");
    const Holder& constant = holder;
    EXPECT_EQ(WrittenHex(OptionalHolder({"", &constant}, 0, {&holder.value, &Blob::IsEmpty})),
              "A0 03 04 01 AA");
    EXPECT_EQ(WrittenHex(OptionalHolder({"", &constant}, 31, {})), "BF 1F 03 04 01 AA");
}

TEST(Optional, TakesTheTagItIsBoundToAlone) {
    Holder holder;
    OptionalHolder member({".holder", &holder}, 0, {});
    EXPECT_TRUE(member.IsOptional());
    EXPECT_FALSE(ReadHex(member, "80 03 04 01 AA"));
    EXPECT_FALSE(ReadHex(member, "A1 03 04 01 AA"));
    EXPECT_FALSE(ReadHex(member, "30 03 04 01 AA"));
    EXPECT_FALSE(ReadHex(member, "E0 03 04 01 AA"));
    EXPECT_FALSE(member.DeserializeFromAsnObject({}, ""));
    EXPECT_TRUE(holder.value.IsEmpty());
    EXPECT_TRUE(ReadHex(member, "A0 03 04 01 AA", "Path"));
    EXPECT_EQ(ToHex(holder.value), "AA");
    EXPECT_EQ(holder.contextSeen, "Path.holder");
}

TEST(Optional, ChildrenBehindTheFirstAreIgnored) {
    Holder holder;
    OptionalHolder member({"", &holder}, 0, {});
    EXPECT_TRUE(ReadHex(member, "A0 05 04 01 AA 05 00"));
    EXPECT_EQ(ToHex(holder.value), "AA");
}

TEST(Optional, EmptyTagFails) {
    Holder holder;
    OptionalHolder member({".holder", &holder}, 0, {});
    EXPECT_EQ(ReadFailure<BadAsnContent>(member, "A0 00", "Path"),
              "[Optional::Deserialize] Bad ASN object content. Optional object can't be empty. "
              "Context: \"Path\". Object: offset - 0; identifier - \"Optional with tag=0\". ");
}

using NullableBlob = Nullable<OctetStringMember>;
using ReadableNullableBlob = Nullable<readable::OctetStringMember>;

TEST(Nullable, EmptyBlobWritesNull) {
    Blob blob;
    NullableBlob member({".value", &blob}, {&blob, &Blob::IsEmpty});
    EXPECT_EQ(WrittenHex(member), "05 00");
    const auto parent = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    member.SerializeToAsnNode(parent);
    EXPECT_EQ(parent->CalculateContentSize(), 2U);
}

TEST(Nullable, NullReadBackLeavesTheBlobAsItWas) {
    Blob blob = FromHex("AA");
    NullableBlob member({".value", &blob}, {&blob, &Blob::IsEmpty});
    EXPECT_TRUE(ReadHex(member, "05 00"));
    EXPECT_EQ(ToHex(blob), "AA");
}

TEST(Nullable, ValueIsWrittenAndReadAsItsMemberDoes) {
    Blob blob = FromHex("AA");
    NullableBlob member({".value", &blob}, {&blob, &Blob::IsEmpty});
    EXPECT_EQ(WrittenHex(member), "04 01 AA");
    EXPECT_TRUE(ReadHex(member, "04 01 BB"));
    EXPECT_EQ(ToHex(blob), "BB");
    EXPECT_FALSE(member.IsOptional());
}

TEST(Nullable, AnythingElseFailsInTheMember) {
    Blob blob;
    NullableBlob member({".value", &blob}, {&blob, &Blob::IsEmpty});
    EXPECT_EQ(ReadFailure<UnexpactedAsnIdentifier>(member, "02 01 05", "Path"),
              " Unexpactid ASN identifier: current is \"Integer\", but expacted \"OctetString\". "
              "Context: \"Path.value\". Object: offset - 0; identifier - \"Integer\". ");
}

TEST(Nullable, ReadsAsFarAsItsMemberCan) {
    const Blob blob = FromHex("AA");
    ReadableNullableBlob member({"", &blob}, {&blob, &Blob::IsEmpty});
    EXPECT_EQ(WrittenHex(member), "04 01 AA");
    EXPECT_TRUE(ReadHex(member, "05 00"));
    EXPECT_EQ(ReadFailure<AsnException>(member, "04 01 AA"),
              "[asn::readable::PrimitiveSerializable::Deserialize] Method is not implemented.");
}

TEST(SerializableWrapper, ForwardsWithItsNameInTheContext) {
    Holder holder;
    HolderMember member(".holder", &holder);
    EXPECT_TRUE(ReadHex(member, "04 01 AA", "Path"));
    EXPECT_EQ(holder.contextSeen, "Path.holder");
    EXPECT_EQ(ToHex(holder.value), "AA");
    EXPECT_EQ(WrittenHex(member), "04 01 AA");
    EXPECT_FALSE(member.IsOptional());
}

TEST(SerializableWrapper, OverAConstantObjectItCannotRead) {
    const Holder holder;
    HolderMember member(".holder", &holder);
    EXPECT_EQ(ReadFailure<AsnException>(member, "04 01 AA"),
              "[Serializable::Deserialize] Deserealization is not supported for const object.");
    EXPECT_EQ(WrittenHex(member), "04 00");
}

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

}  // namespace
}  // namespace pkisdk::asn
