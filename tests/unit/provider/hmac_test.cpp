// HMAC and the derivation over it, through CryptoAPI's calls.
#include "provider/hmac.h"

#include <gcrypt.h>
#include <gtest/gtest.h>
#include <nettle/pbkdf2.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/csp_guards.h"
#include "support/hex.h"
#include "support/scoped_environment.h"

namespace {

using test_support::FromHex;
using test_support::Hash;
using test_support::Key;
using test_support::kGost94;
using test_support::kStreebog256;
using test_support::kStreebog512;
using test_support::Octets;
using test_support::ToHex;
using test_support::VerifyContext;

using Bytes = std::vector<std::uint8_t>;

class Hmac : public testing::Test {
  protected:
    // The derivation of RFC 8018, 5.2, an HMAC object for each iteration.
    Bytes Pbkdf2(ALG_ID algorithm, const Bytes& password, const Bytes& salt, unsigned iterations,
                 std::size_t size) const {
        const Key key(context_, password);
        Bytes output(size);
        std::uint8_t block = 0;
        for (std::size_t done = 0; done < size;) {
            const std::array<std::uint8_t, 4> counter = {0, 0, 0, ++block};
            Bytes value = Hash(context_, key, algorithm).Add(salt).Add(counter).Value();
            const std::size_t used = std::min(value.size(), size - done);
            for (unsigned i = 0; i < iterations; ++i) {
                if (i != 0) {
                    value = Hash(context_, key, algorithm).Add(value).Value();
                }
                for (std::size_t k = 0; k < used; ++k) {
                    output[done + k] ^= value[k];
                }
            }
            done += used;
        }
        return output;
    }

    test_support::ScopedSettings settings_;
    VerifyContext context_;
};

// Key and message in hexadecimal.
struct Known {
    ALG_ID algorithm;
    const char* key;
    const char* message;
    const char* value;
};

TEST_F(Hmac, HasTheValuesOfTheStandards) {
    constexpr char kKey32[] = "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f";
    constexpr char kMessage[] = "0126bdb87800af214341456563780100";
    const Known known[] = {
        // RFC 7836, A.1 and A.2.
        {kStreebog256, kKey32, kMessage,
         "a1aa5f7de402d7b3d323f2991c8d4534013137010a83754fd0af6d7cd4922ed9"},
        {kStreebog512, kKey32, kMessage,
         "a59bab22ecae19c65fbde6e5f4e9f5d8549d31f037f9df9b905500e171923a77"
         "3d5f1530f2ed7e964cb2eedc29e9ad2f3afe93b2814f79f5000ffc0366c251e6"},
        // RFC 2202, cases 1 ("Hi There") and 2 ("Jefe") of HMAC-SHA-1: zeros at the end of a short
        // key do not count.
        {CALG_SHA1, "0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b", "4869205468657265",
         "b617318655057264e28bc0b6fb378c8ef146be00"},
        {CALG_SHA1, "4a656665", "7768617420646f2079612077616e7420666f72206e6f7468696e673f",
         "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
    };
    for (const Known& sample : known) {
        const Key key(context_, FromHex(sample.key));
        EXPECT_EQ(ToHex(Hash(context_, key, sample.algorithm).Add(FromHex(sample.message)).Value()),
                  sample.value);
    }
}

// The peer is libgcrypt; a block of GOST R 34.11-94 is no longer than the key.
TEST_F(Hmac, AgreesWithAPeerOnRandomKeysAndMessages) {
    const struct {
        ALG_ID algorithm;
        int peer;
    } pairs[] = {{kGost94, GCRY_MAC_HMAC_GOSTR3411_CP},
                 {kStreebog256, GCRY_MAC_HMAC_STRIBOG256},
                 {kStreebog512, GCRY_MAC_HMAC_STRIBOG512},
                 {CALG_SHA1, GCRY_MAC_HMAC_SHA1}};
    std::mt19937 random(2104);
    for (int round = 0; round < 400; ++round) {
        const auto& pair = pairs[round % 4];
        Bytes keyValue(32);
        Bytes message(random() % 300);
        for (Bytes* const bytes : {&keyValue, &message}) {
            std::generate(bytes->begin(), bytes->end(),
                          [&random] { return static_cast<std::uint8_t>(random()); });
        }
        gcry_mac_hd_t mac = nullptr;
        ASSERT_EQ(gcry_mac_open(&mac, pair.peer, 0, nullptr), 0U);
        ASSERT_EQ(gcry_mac_setkey(mac, keyValue.data(), keyValue.size()), 0U);
        ASSERT_EQ(gcry_mac_write(mac, message.data(), message.size()), 0U);
        std::size_t size = gcry_mac_get_algo_maclen(pair.peer);
        Bytes expected(size);
        ASSERT_EQ(gcry_mac_read(mac, expected.data(), &size), 0U);
        gcry_mac_close(mac);
        const Key key(context_, keyValue);
        ASSERT_EQ(Hash(context_, key, pair.algorithm).Add(message).Value(), expected);
    }
}

// The vectors for HMAC_GOSTR3411_2012_512 are those of the Russian recommendation on password-based
// protection (R 50.1.111-2016, also RFC 9337, B); libgcrypt and GnuTLS give the same, and the
// others.
TEST_F(Hmac, DerivesWhatThePublishedVectorsSay) {
    const struct {
        ALG_ID algorithm;
        unsigned iterations;
        const char* value;
    } known[] = {
        {kStreebog512, 1,
         "64770af7f748c3b1c9ac831dbcfd85c26111b30a8a657ddc3056b80ca73e040d"
         "2854fd36811f6d825cc4ab66ec0a68a490a9e5cf5156b3a2b7eecddbf9a16b47"},
        {kStreebog512, 2,
         "5a585bafdfbb6e8830d6d68aa3b43ac00d2e4aebce01c9b31c2caed56f0236d4"
         "d34b2b8fbd2c4e89d54d46f50e47d45bbac301571743119e8d3c42ba66d348de"},
        {kStreebog512, 4096,
         "e52deb9a2d2aaff4e2ac9d47a41f34c20376591c67807f0477e32549dc341bc7"
         "867c09841b6d58e29d0347c996301d55df0d34e47cf68f4e3c2cdaf1d9ab86c3"},
        {kStreebog256, 2, "b0a3ff64e42ca187f96e7263788b3f97938e1fefe962b06b24b9c7470ba5ca31"},
        {kGost94, 1, "7314e7c04fb2e662c543674253f68bd0b73445d07f241bed872882da21662d58"},
        {kGost94, 2, "990dfa2bd965639ba48b07b792775df79f2db34fef25f274378872fed7ed1bb3"},
        {kGost94, 4096, "1f1829a94bdff5be10d0aeb36af498e7a97467f3b31116a5a7c1afff9deadafe"},
    };
    for (const auto& sample : known) {
        const std::size_t size = std::string_view(sample.value).size() / 2;
        EXPECT_EQ(ToHex(Pbkdf2(sample.algorithm, Octets("password"), Octets("salt"),
                               sample.iterations, size)),
                  sample.value)
            << sample.algorithm << ' ' << sample.iterations;
    }
}

TEST_F(Hmac, DerivesAsPeersDoFromRandomInput) {
    const struct {
        ALG_ID algorithm;
        int peer;
    } pairs[] = {{kGost94, GCRY_MD_GOSTR3411_CP},
                 {kStreebog256, GCRY_MD_STRIBOG256},
                 {kStreebog512, GCRY_MD_STRIBOG512},
                 {CALG_SHA1, GCRY_MD_SHA1}};
    std::mt19937 random(8018);
    for (int round = 0; round < 200; ++round) {
        const auto& pair = pairs[round % 4];
        Bytes password(1 + random() % 32);
        Bytes salt(1 + random() % 80);
        for (Bytes* const bytes : {&password, &salt}) {
            std::generate(bytes->begin(), bytes->end(),
                          [&random] { return static_cast<std::uint8_t>(random()); });
        }
        const auto iterations = static_cast<unsigned>(1 + random() % 20);
        const std::size_t size = 1 + random() % 150;
        Bytes expected(size);
        ASSERT_EQ(gcry_kdf_derive(password.data(), password.size(), GCRY_KDF_PBKDF2, pair.peer,
                                  salt.data(), salt.size(), iterations, size, expected.data()),
                  0U);
        ASSERT_EQ(Pbkdf2(pair.algorithm, password, salt, iterations, size), expected);
        if (pair.algorithm == kGost94) {
            pbkdf2_hmac_gosthash94cp(password.size(), password.data(), iterations, salt.size(),
                                     salt.data(), size, expected.data());
            ASSERT_EQ(Pbkdf2(pair.algorithm, password, salt, iterations, size), expected);
        }
    }
}

TEST(HmacPads, AreNoneAfterTheWipeAndHoldNothing) {
    const provider::DigestAlgorithm& algorithm = *provider::FindDigest(kStreebog512);
    const Bytes key(32, 0x77);
    provider::HmacPads pads;
    std::fill(pads.inner.bytes.begin(), pads.inner.bytes.end(), std::byte{0});
    std::fill(pads.outer.bytes.begin(), pads.outer.bytes.end(), std::byte{0});
    ComputeHmacPads(algorithm, key, &pads);
    EXPECT_EQ(pads.algorithm, &algorithm);
    const auto isZero = [](std::byte byte) { return byte == std::byte{0}; };
    EXPECT_FALSE(std::all_of(pads.inner.bytes.begin(), pads.inner.bytes.end(), isZero));
    WipeHmacPads(&pads);
    EXPECT_EQ(pads.algorithm, nullptr);
    EXPECT_TRUE(std::all_of(pads.inner.bytes.begin(), pads.inner.bytes.end(), isZero));
    EXPECT_TRUE(std::all_of(pads.outer.bytes.begin(), pads.outer.bytes.end(), isZero));
}

}  // namespace
