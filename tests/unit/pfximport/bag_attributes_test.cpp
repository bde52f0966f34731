#include "pfximport/bag_attributes.h"

#include <gtest/gtest.h>

#include <exception>

#include "support/import_fixture.h"

namespace {

using pkisdk::Blob;
using test_support::Attribute;
using test_support::Bytes;
using test_support::Element;
using test_support::FriendlyName;
using test_support::Join;
using test_support::kCorrupt;
using test_support::LocalKeyId;
using test_support::ToBlob;

constexpr char kFriendlyNameOid[] = "1.2.840.113549.1.9.20";
constexpr char kLocalKeyIdOid[] = "1.2.840.113549.1.9.21";
constexpr char kMachineKeySetOid[] = "1.3.6.1.4.1.311.17.2";
constexpr char kProviderNameOid[] = "1.3.6.1.4.1.311.17.1";

std::list<Blob> Blobs(std::initializer_list<Bytes> attributes) {
    std::list<Blob> blobs;
    for (const Bytes& attribute : attributes) {
        blobs.push_back(ToBlob(attribute));
    }
    return blobs;
}

TEST(ReadBagAttributes, WithoutAttributesThereIsNothing) {
    pkisdk::BagAttributes read;
    EXPECT_EQ(pkisdk::ReadBagAttributes({}, &read), 0u);
    EXPECT_TRUE(read.localKeyId.IsEmpty());
    EXPECT_FALSE(read.containerName.has_value());
    EXPECT_FALSE(read.isMachineKey);
}

TEST(ReadBagAttributes, ReadsIdentifierNameAndMachineKey) {
    pkisdk::BagAttributes read;
    EXPECT_EQ(pkisdk::ReadBagAttributes(Blobs({LocalKeyId({1, 0, 0, 0}), FriendlyName(u"Имя"),
                                               Attribute(kMachineKeySetOid, {Element(0x05, {})})}),
                                        &read),
              0u);
    EXPECT_EQ(read.localKeyId, ToBlob({1, 0, 0, 0}));
    EXPECT_EQ(read.containerName, "Имя");
    EXPECT_TRUE(read.isMachineKey);
}

TEST(ReadBagAttributes, OfAnAttributeThatStandsTwiceTheLaterCounts) {
    pkisdk::BagAttributes read;
    EXPECT_EQ(pkisdk::ReadBagAttributes(Blobs({LocalKeyId({1}), FriendlyName(u"one"),
                                               LocalKeyId({2}), FriendlyName(u"two")}),
                                        &read),
              0u);
    EXPECT_EQ(read.localKeyId, ToBlob({2}));
    EXPECT_EQ(read.containerName, "two");
}

TEST(ReadBagAttributes, OfSeveralValuesTheFirstCounts) {
    pkisdk::BagAttributes read;
    EXPECT_EQ(
        pkisdk::ReadBagAttributes(
            Blobs({Attribute(kLocalKeyIdOid, {Element(0x04, {7}), Element(0x04, {8})})}), &read),
        0u);
    EXPECT_EQ(read.localKeyId, ToBlob({7}));
}

TEST(ReadBagAttributes, ANameMayBeOfAnyTextType) {
    const struct {
        std::uint8_t tag;
        Bytes octets;
        const char* name;
    } kForms[] = {
        {0x0C, {0xD0, 0x98}, "И"},
        {0x13, {'a', 'b'}, "ab"},
        {0x16, {'a', '@'}, "a@"},
        {0x1E, {0x04, 0x18}, "И"},
    };
    for (const auto& form : kForms) {
        pkisdk::BagAttributes read;
        EXPECT_EQ(
            pkisdk::ReadBagAttributes(
                Blobs({Attribute(kFriendlyNameOid, {Element(form.tag, form.octets)})}), &read),
            0u);
        EXPECT_EQ(read.containerName, form.name) << int{form.tag};
    }
}

TEST(ReadBagAttributes, ANameEndsAtItsFirstNul) {
    pkisdk::BagAttributes read;
    EXPECT_EQ(pkisdk::ReadBagAttributes(Blobs({FriendlyName(std::u16string(u"a\0b", 3))}), &read),
              0u);
    EXPECT_EQ(read.containerName, "a");
}

TEST(ReadBagAttributes, AnEmptyNameIsAName) {
    pkisdk::BagAttributes read;
    EXPECT_EQ(pkisdk::ReadBagAttributes(Blobs({FriendlyName(u"")}), &read), 0u);
    EXPECT_EQ(read.containerName, "");
}

// The exporting side writes the provider's name; no one asks for it.
TEST(ReadBagAttributes, OthersArePassedOverWhateverTheyHold) {
    pkisdk::BagAttributes read;
    EXPECT_EQ(
        pkisdk::ReadBagAttributes(Blobs({Attribute(kProviderNameOid, {}),
                                         Attribute("1.2.3", {{0x02, 0x00}}), LocalKeyId({5})}),
                                  &read),
        0u);
    EXPECT_EQ(read.localKeyId, ToBlob({5}));
}

TEST(ReadBagAttributes, TheMarkOfTheMachineNeedsNoValue) {
    pkisdk::BagAttributes read;
    EXPECT_EQ(pkisdk::ReadBagAttributes(Blobs({Attribute(kMachineKeySetOid, {})}), &read), 0u);
    EXPECT_TRUE(read.isMachineKey);
}

TEST(ReadBagAttributes, WithoutAValueReadingEndsAndWhatWasReadStands) {
    for (const char* const oid : {kLocalKeyIdOid, kFriendlyNameOid}) {
        pkisdk::BagAttributes read;
        EXPECT_EQ(
            pkisdk::ReadBagAttributes(
                Blobs({LocalKeyId({1}), FriendlyName(u"one"), Attribute(oid, {}), LocalKeyId({2}),
                       FriendlyName(u"two"), Attribute(kMachineKeySetOid, {})}),
                &read),
            kCorrupt);
        EXPECT_EQ(read.localKeyId, ToBlob({1}));
        EXPECT_EQ(read.containerName, "one");
        EXPECT_FALSE(read.isMachineKey);
    }
}

TEST(ReadBagAttributes, AMalformedAttributeOrValueThrows) {
    const Bytes kMalformed[] = {
        {},
        {0x30},
        {0x05, 0x00},
        Element(0x30, {}),
        Element(0x30, test_support::Oid(kLocalKeyIdOid)),
        Attribute(kLocalKeyIdOid, {Element(0x02, {1})}),
        Attribute(kFriendlyNameOid, {Element(0x02, {1})}),
    };
    for (const Bytes& attribute : kMalformed) {
        pkisdk::BagAttributes read;
        EXPECT_THROW(pkisdk::ReadBagAttributes(Blobs({attribute}), &read), std::exception)
            << attribute.size();
    }
}

}  // namespace
