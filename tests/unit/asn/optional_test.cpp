#include "asn/optional.h"

#include <gtest/gtest.h>

#include "asn/serializable_wrapper.h"
#include "foundation/asn_exceptions.h"
#include "support/asn_values.h"
#include "support/holder.h"
#include "support/octets.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::Holder;
using support::ReadFailure;
using support::ReadHex;
using support::ToHex;
using support::WrittenHex;

using HolderMember = SerializableWrapper<Holder>;
using OptionalHolder = Optional<HolderMember>;

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

TEST(Optional, TakesALongTagByItsNumber) {
    Holder holder;
    OptionalHolder member({"", &holder}, 31, {});
    EXPECT_FALSE(ReadHex(member, "BF 20 03 04 01 AA"));
    EXPECT_TRUE(holder.value.IsEmpty());
    EXPECT_TRUE(ReadHex(member, "BF 1F 03 04 01 AA"));
    EXPECT_EQ(ToHex(holder.value), "AA");
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

}  // namespace
}  // namespace pkisdk::asn
