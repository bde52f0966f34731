// The file of a container, octet by octet.
#include "provider/container_image.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "provider/container_seal.h"

namespace {

using provider::ContainerImage;
using Bytes = std::vector<BYTE>;

void Append(Bytes* to, const Bytes& octets) {
    to->insert(to->end(), octets.begin(), octets.end());
}

// An image with a key in the signature slot, and its file without the checksum, written by hand.
ContainerImage SomeImage() {
    ContainerImage image;
    image.identity.fill(0x11);
    image.hasPin = true;
    image.iterations = 0x01020;
    image.salt.fill(0x22);
    image.name = "ab";
    image.keys[1].record = {0x2E49, 0x3F, {0x30, 0x01, 0x07}, {0x30, 0x00}};
    image.keys[1].sealed = Bytes(9, 0x44);
    image.mac.fill(0x33);
    return image;
}

Bytes SomeFile() {
    Bytes file = {'V', 'L', 'X', 'K', 'E', 'Y', 'S', 1};
    Append(&file, Bytes(16, 0x11));
    Append(&file, {1, 0, 0, 0, 0x20, 0x10, 0, 0});
    Append(&file, Bytes(32, 0x22));
    Append(&file, {2, 0, 0, 0, 'a', 'b'});
    Append(&file, Bytes(20, 0));
    Append(&file, {0x49, 0x2E, 0, 0, 0x3F, 0, 0, 0, 3, 0, 0, 0, 0x30, 0x01, 0x07});
    Append(&file, {2, 0, 0, 0, 0x30, 0x00, 9, 0, 0, 0});
    Append(&file, Bytes(9, 0x44));
    Append(&file, Bytes(32, 0x33));
    return file;
}

Bytes WithChecksum(Bytes octets) {
    const provider::ContainerMac checksum = provider::ComputeChecksum(octets);
    octets.insert(octets.end(), checksum.begin(), checksum.end());
    return octets;
}

bool IsSame(const ContainerImage& a, const ContainerImage& b) {
    return provider::SerializeContainer(a) == provider::SerializeContainer(b);
}

// Whether a change of the fields, with a checksum that fits it, still makes a container.
bool ParsesWith(const std::function<void(ContainerImage*)>& change) {
    ContainerImage image = SomeImage();
    change(&image);
    const auto file = provider::SerializeContainer(image);
    return file.has_value() && provider::ParseContainer(*file).has_value();
}

TEST(ContainerImage, IsWrittenAsDocumented) {
    EXPECT_EQ(provider::SerializeContainer(SomeImage()), WithChecksum(SomeFile()));
    const Bytes covered = provider::SerializeForMac(SomeImage());
    const Bytes file = SomeFile();
    EXPECT_EQ(covered, Bytes(file.begin(), file.end() - 32));
}

TEST(ContainerImage, IsReadAsDocumented) {
    const auto image = provider::ParseContainer(WithChecksum(SomeFile()));
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->identity, SomeImage().identity);
    EXPECT_TRUE(image->hasPin);
    EXPECT_EQ(image->iterations, 0x1020U);
    EXPECT_EQ(image->salt, SomeImage().salt);
    EXPECT_EQ(image->name, "ab");
    EXPECT_EQ(image->keys[0].record.algorithm, 0U);
    EXPECT_EQ(image->keys[1].record.algorithm, 0x2E49U);
    EXPECT_EQ(image->keys[1].record.permissions, 0x3FU);
    EXPECT_EQ(image->keys[1].record.publicKey, (Bytes{0x30, 0x01, 0x07}));
    EXPECT_EQ(image->keys[1].record.certificate, (Bytes{0x30, 0x00}));
    EXPECT_EQ(image->keys[1].sealed, Bytes(9, 0x44));
    EXPECT_EQ(image->mac, SomeImage().mac);
}

TEST(ContainerImage, IsRefusedAtEveryLengthButItsOwn) {
    const Bytes whole = SomeFile();
    for (std::size_t size = 0; size != whole.size(); ++size) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(provider::ParseContainer(WithChecksum(part))) << size;
        EXPECT_FALSE(provider::ParseContainer(part)) << size;
    }
    Bytes longer = whole;
    longer.push_back(0);
    EXPECT_FALSE(provider::ParseContainer(WithChecksum(longer)));
    EXPECT_FALSE(provider::ParseContainer(Bytes(provider::kLargestContainerFile + 1)));
}

TEST(ContainerImage, IsRefusedWithAnyOctetChanged) {
    const Bytes whole = WithChecksum(SomeFile());
    for (std::size_t place = 0; place != whole.size(); ++place) {
        for (const int bit : {0, 3, 7}) {
            Bytes changed = whole;
            changed[place] = static_cast<BYTE>(changed[place] ^ 1 << bit);
            EXPECT_FALSE(provider::ParseContainer(changed)) << place;
        }
    }
}

TEST(ContainerImage, ReadsHostileOctetsWithAGoodChecksumToTheSameOrNothing) {
    std::mt19937 random(20241121);
    const Bytes whole = SomeFile();
    int refused = 0;
    for (int round = 0; round != 20000; ++round) {
        Bytes changed = whole;
        for (unsigned count = 1 + random() % 4; count != 0; --count) {
            constexpr BYTE kTelling[] = {0x00, 0x01, 0x7F, 0x80, 0xFF};
            changed[random() % changed.size()] = kTelling[random() % std::size(kTelling)];
        }
        changed.resize(changed.size() - random() % 3);
        const Bytes file = WithChecksum(changed);
        const auto image = provider::ParseContainer(file);
        if (image.has_value()) {
            EXPECT_EQ(provider::SerializeContainer(*image), file);
        } else {
            ++refused;
        }
    }
    EXPECT_GT(refused, 0);
    EXPECT_LT(refused, 20000);
}

TEST(ContainerImage, HasBoundsForWhatItHolds) {
    EXPECT_TRUE(ParsesWith([](ContainerImage*) {}));
    EXPECT_TRUE(ParsesWith([](ContainerImage* i) { i->iterations = 1'000'000; }));
    EXPECT_FALSE(ParsesWith([](ContainerImage* i) { i->iterations = 1'000'001; }));
    EXPECT_FALSE(ParsesWith([](ContainerImage* i) { i->iterations = 0; }));
    // Without a PIN there is one iteration.
    EXPECT_FALSE(ParsesWith([](ContainerImage* i) { i->hasPin = false; }));
    EXPECT_TRUE(ParsesWith([](ContainerImage* i) { i->hasPin = false, i->iterations = 1; }));
    EXPECT_TRUE(ParsesWith([](ContainerImage* i) { i->name = std::string(260, 'n'); }));
    EXPECT_FALSE(ParsesWith([](ContainerImage* i) { i->name = std::string(261, 'n'); }));
    EXPECT_FALSE(ParsesWith([](ContainerImage* i) { i->name.clear(); }));
    EXPECT_FALSE(ParsesWith([](ContainerImage* i) { i->name[0] = '\0'; }));
    EXPECT_FALSE(ParsesWith([](ContainerImage* i) { i->keys[1].sealed.resize(8); }));
    EXPECT_TRUE(ParsesWith([](ContainerImage* i) { i->keys[1].sealed.resize(8 + 4096); }));
    EXPECT_FALSE(ParsesWith([](ContainerImage* i) { i->keys[1].sealed.resize(9 + 4096); }));
}

TEST(ContainerImage, HasNothingInAnEmptySlot) {
    EXPECT_FALSE(ParsesWith([](ContainerImage* i) { i->keys[0].record.permissions = 1; }));
    EXPECT_FALSE(ParsesWith([](ContainerImage* i) { i->keys[0].record.publicKey = {1}; }));
    EXPECT_FALSE(ParsesWith([](ContainerImage* i) { i->keys[0].record.certificate = {1}; }));
    EXPECT_FALSE(ParsesWith([](ContainerImage* i) { i->keys[0].sealed = Bytes(9, 1); }));
    EXPECT_TRUE(ParsesWith([](ContainerImage* i) { i->keys[1] = {}; }));
}

TEST(ContainerImage, IsNotWrittenLargerThanItIsRead) {
    ContainerImage image = SomeImage();
    image.keys[0] = image.keys[1];
    image.keys[0].record.certificate.clear();
    const std::size_t room =
        provider::kLargestContainerFile - provider::SerializeContainer(image)->size();
    image.keys[0].record.certificate.resize(room);
    const auto largest = provider::SerializeContainer(image);
    ASSERT_TRUE(largest.has_value());
    const auto read = provider::ParseContainer(*largest);
    ASSERT_TRUE(read.has_value());
    EXPECT_TRUE(IsSame(*read, image));
    image.keys[0].record.certificate.resize(room + 1);
    EXPECT_FALSE(provider::SerializeContainer(image).has_value());
}

}  // namespace
