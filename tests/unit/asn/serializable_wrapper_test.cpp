#include "asn/serializable_wrapper.h"

#include <gtest/gtest.h>

#include "foundation/asn_exceptions.h"
#include "support/asn_values.h"
#include "support/holder.h"
#include "support/octets.h"

namespace pkisdk::asn {
namespace {

using support::Holder;
using support::ReadFailure;
using support::ReadHex;
using support::ToHex;
using support::WrittenHex;

using HolderMember = SerializableWrapper<Holder>;

TEST(SerializableWrapper, ForwardsWithItsNameInTheContext) {
    Holder holder;
    HolderMember member(".holder", &holder);
    EXPECT_TRUE(ReadHex(member, "04 01 AA", "Path"));
    EXPECT_EQ(holder.contextSeen, "Path.holder");
    EXPECT_EQ(ToHex(holder.value), "AA");
    EXPECT_EQ(WrittenHex(member), "04 01 AA");
    EXPECT_FALSE(member.IsOptional());
}

TEST(SerializableWrapper, NodeIsAddedToTheParent) {
    const Holder holder;
    const auto parent = MakeAsn<AsnNodeContainer>(kSequenceIdentifier);
    HolderMember("", &holder).SerializeToAsnNode(parent);
    EXPECT_EQ(parent->CalculateContentSize(), 2U);
}

TEST(SerializableWrapper, OverAConstantObjectItCannotRead) {
    const Holder holder;
    HolderMember member(".holder", &holder);
    EXPECT_EQ(ReadFailure<AsnException>(member, "04 01 AA"),
              "[Serializable::Deserialize] Deserealization is not supported for const object.");
    EXPECT_EQ(WrittenHex(member), "04 00");
}

}  // namespace
}  // namespace pkisdk::asn
