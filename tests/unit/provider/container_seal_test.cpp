// Sealing, held against nettle (derivation, MAC, checksum) and the GOST engine of OpenSSL (cipher).
#include "provider/container_seal.h"

#include <gtest/gtest.h>
#include <nettle/hmac.h>
#include <nettle/pbkdf2.h>

#include <algorithm>
#include <numeric>
#include <string_view>

namespace {

using provider::ContainerImage;
using provider::ContainerMac;
using provider::ContainerSalt;
using provider::SealKeys;

constexpr std::size_t kKeysSize = 64;
constexpr DWORD kIterations = 2000;

std::span<const BYTE> OctetsOf(std::string_view text) {
    return {reinterpret_cast<const BYTE*>(text.data()), text.size()};
}

ContainerSalt CountingSalt() {
    ContainerSalt salt{};
    std::iota(salt.begin(), salt.end(), BYTE{0});
    return salt;
}

std::array<BYTE, kKeysSize> PeerKeys(std::span<const BYTE> pin, const ContainerSalt& salt,
                                     unsigned iterations) {
    hmac_streebog512_ctx context;
    hmac_streebog512_set_key(&context, pin.size(), pin.data());
    std::array<BYTE, kKeysSize> keys{};
    PBKDF2(&context, hmac_streebog512_update, hmac_streebog512_digest, 64, iterations, salt.size(),
           salt.data(), keys.size(), keys.data());
    return keys;
}

ContainerImage SomeImage() {
    ContainerImage image;
    image.name = "some";
    image.salt = CountingSalt();
    return image;
}

TEST(ContainerSeal, DerivesTheKeysThatAnotherLibraryDerives) {
    for (const std::string_view pin : {"", "1234",
                                       "a PIN of more octets than one block of the hash "
                                       "takes, which is sixty-four of them"}) {
        const SealKeys keys = provider::DeriveSealKeys(OctetsOf(pin), CountingSalt(), 3);
        EXPECT_TRUE(
            std::ranges::equal(keys.octets.View(), PeerKeys(OctetsOf(pin), CountingSalt(), 3)));
        EXPECT_EQ(keys.salt, CountingSalt());
    }
}

TEST(ContainerSeal, OpensWhatTheEngineOfOpenSslEncrypted) {
    // openssl enc -gost89, CRYPT_PARAMS id-tc26-gost-28147-param-Z, under the first 32 octets of
    // PeerKeys("1234", CountingSalt(), 2000) from the vector that stands first here.
    constexpr BYTE kSealed[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0xD6,
                                0xDA, 0xD2, 0x6E, 0x0E, 0x33, 0x61, 0x4F, 0xD0, 0xC9,
                                0xDD, 0x46, 0x97, 0x41, 0x04, 0xFD, 0xE8, 0x16, 0x40,
                                0x85, 0xBF, 0x7A, 0x30, 0xA3, 0x49, 0x19, 0xD1};
    const SealKeys keys = provider::DeriveSealKeys(OctetsOf("1234"), CountingSalt(), kIterations);
    EXPECT_TRUE(std::ranges::equal(provider::Unseal(keys, kSealed).View(),
                                   OctetsOf("a private key, to be sealed")));
}

TEST(ContainerSeal, SealsUnderANewVectorEachTime) {
    const SealKeys keys = provider::DeriveSealKeys(OctetsOf("1234"), CountingSalt(), 1);
    for (const std::size_t size : {1U, 7U, 8U, 9U, 100U, 4096U}) {
        std::vector<BYTE> secret(size);
        std::iota(secret.begin(), secret.end(), BYTE{0});
        const std::vector<BYTE> first = provider::Seal(keys, secret);
        const std::vector<BYTE> second = provider::Seal(keys, secret);
        EXPECT_EQ(first.size(), size + provider::kSealVectorSize);
        EXPECT_FALSE(std::equal(first.begin(), first.begin() + 8, second.begin()));
        EXPECT_TRUE(std::ranges::equal(provider::Unseal(keys, first).View(), secret));
        EXPECT_TRUE(std::ranges::equal(provider::Unseal(keys, second).View(), secret));
    }
}

TEST(ContainerSeal, ComputesTheMacThatAnotherLibraryComputes) {
    const ContainerImage image = SomeImage();
    const SealKeys keys = provider::DeriveSealKeys(OctetsOf("1234"), image.salt, 1);
    const auto peerKeys = PeerKeys(OctetsOf("1234"), image.salt, 1);
    const std::vector<BYTE> octets = provider::SerializeForMac(image);
    hmac_streebog256_ctx context;
    hmac_streebog256_set_key(&context, 32, peerKeys.data() + 32);
    hmac_streebog256_update(&context, octets.size(), octets.data());
    ContainerMac expected{};
    hmac_streebog256_digest(&context, expected.size(), expected.data());
    EXPECT_EQ(provider::ComputeMac(keys, image), expected);
}

TEST(ContainerSeal, TellsAnImageFromOneThatDiffersAnywhere) {
    ContainerImage image = SomeImage();
    const SealKeys keys = provider::DeriveSealKeys(OctetsOf("1234"), image.salt, 1);
    image.mac = provider::ComputeMac(keys, image);
    EXPECT_TRUE(provider::HasMac(keys, image));
    EXPECT_FALSE(
        provider::HasMac(provider::DeriveSealKeys(OctetsOf("1235"), image.salt, 1), image));
    ContainerImage renamed = image;
    renamed.name = "sOme";
    EXPECT_FALSE(provider::HasMac(keys, renamed));
    for (const std::size_t place : {0U, 15U, 31U}) {
        ContainerImage changed = image;
        changed.mac[place] ^= 1;
        EXPECT_FALSE(provider::HasMac(keys, changed));
    }
}

TEST(ContainerSeal, ChecksumsWithStreebog256) {
    // The first example message of RFC 6986, in its order of octets, and its hash.
    const std::string_view message =
        "012345678901234567890123456789012345678901234567890123456789012";
    constexpr BYTE kHash[] = {0x9D, 0x15, 0x1E, 0xEF, 0xD8, 0x59, 0x0B, 0x89, 0xDA, 0xA6, 0xBA,
                              0x6C, 0xB7, 0x4A, 0xF9, 0x27, 0x5D, 0xD0, 0x51, 0x02, 0x6B, 0xB1,
                              0x49, 0xA4, 0x52, 0xFD, 0x84, 0xE5, 0xE5, 0x7B, 0x55, 0x00};
    EXPECT_TRUE(std::ranges::equal(provider::ComputeChecksum(OctetsOf(message)), kHash));
}

}  // namespace
