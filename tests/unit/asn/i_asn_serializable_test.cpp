#include "asn/i_asn_serializable.h"

#include <gtest/gtest.h>

#include "support/octets.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;

// An optional member that takes whatever it is asked about, and remembers it.
class Taker : public IAsnSerializable {
  public:
    bool DeserializeFromAsnObject(const AsnObjectHandle& object, const std::string&) override {
        ++asked;
        last = object;
        return true;
    }
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle&) const override { return {}; }
    bool IsOptional() const override { return true; }

    int asked = 0;
    AsnObjectHandle last;
};

TEST(IAsnSerializable, OptionalMemberIsNotAskedAtTheEnd) {
    const Blob blob = FromHex("30 02 05 00");
    AsnChildIterator iterator(AsnObjectReadable::FromBlob(blob));
    iterator.Begin();
    Taker member;
    EXPECT_TRUE(member.DeserializeFromIterator(iterator, ""));
    EXPECT_EQ(member.last->GetIdentifier(), kNullIdentifier);
    EXPECT_FALSE(member.DeserializeFromIterator(iterator, ""));
    EXPECT_EQ(member.asked, 1);
}

}  // namespace
}  // namespace pkisdk::asn
