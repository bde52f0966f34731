// Values of the plain hashes, through CryptoAPI's calls.
#include "provider/digest.h"

#include <gcrypt.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "support/csp_guards.h"
#include "support/hex.h"
#include "support/scoped_environment.h"

namespace {

using test_support::Hash;
using test_support::kGost94;
using test_support::kStreebog256;
using test_support::kStreebog512;
using test_support::Octets;
using test_support::ToHex;
using test_support::VerifyContext;

class Digests : public testing::Test {
  protected:
    test_support::ScopedSettings settings_;
    VerifyContext context_;
};

// M1 and M2 of RFC 6986, 10.1 and 10.2.
const std::string kM1 = "012345678901234567890123456789012345678901234567890123456789012";
const std::string kM2 =
    "\xD1\xE5 \xE2\xE5\xF2\xF0\xE8, \xD1\xF2\xF0\xE8\xE1\xEE\xE6\xE8 \xE2\xED\xF3\xF6\xE8, "
    "\xE2\xE5\xFE\xF2\xFA \xF1 \xEC\xEE\xF0\xFF \xF1\xF2\xF0\xE5\xEB\xE0\xEC\xE8 \xED\xE0 "
    "\xF5\xF0\xE0\xE1\xF0\xFB\xFF \xEF\xEB\xFA\xEA\xFB \xC8\xE3\xEE\xF0\xE5\xE2\xFB";

struct Known {
    ALG_ID algorithm;
    std::string message;
    const char* value;
};

TEST_F(Digests, HaveTheValuesOfTheStandards) {
    const Known known[] = {
        // CryptoPro S-boxes (RFC 4357, 11.2); the values are those that libgcrypt, nettle and, for
        // messages that are not empty, OpenSSL's GOST engine give.
        {kGost94, "", "981e5f3ca30c841487830f84fb433e13ac1101569b9c13584ac483234cd656c0"},
        {kGost94, "abc", "b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c"},
        {kGost94, "message digest",
         "bc6041dd2aa401ebfa6e9886734174febdb4729aa972d60f549ac39b29721ba0"},
        {kGost94, "The quick brown fox jumps over the lazy dog",
         "9004294a361a508c586fe53d1f1b02746765e71b765472786e4770d565830a76"},
        // RFC 6986, written as octets in the order of output.
        {kStreebog512, kM1,
         "1b54d01a4af5b9d5cc3d86d68d285462b19abc2475222f35c085122be4ba1ffa"
         "00ad30f8767b3a82384c6574f024c311e2a481332b08ef7f41797891c1646f48"},
        {kStreebog256, kM1, "9d151eefd8590b89daa6ba6cb74af9275dd051026bb149a452fd84e5e57b5500"},
        {kStreebog512, kM2,
         "1e88e62226bfca6f9994f1f2d51569e0daf8475a3b0fe61a5300eee46d961376"
         "035fe83549ada2b8620fcd7c496ce5b33f0cb9dddc2b6460143b03dabac9fb28"},
        {kStreebog256, kM2, "9dd2fe4e90409e5da87f53976d7405b0c0cac628fc669a741d50063c557e8f50"},
        // FIPS 180-2, A.1 and A.2, and RFC 3174.
        {CALG_SHA1, "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {CALG_SHA1, "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
        {CALG_SHA1, "", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
    };
    for (const Known& sample : known) {
        EXPECT_EQ(ToHex(Hash(context_, sample.algorithm).Add(Octets(sample.message)).Value()),
                  sample.value)
            << sample.algorithm << ' ' << sample.message;
    }
}

// The peer is libgcrypt.
TEST_F(Digests, AgreeWithAPeerOnRandomMessagesInRandomPieces) {
    const struct {
        ALG_ID algorithm;
        int peer;
    } pairs[] = {{kGost94, GCRY_MD_GOSTR3411_CP},
                 {kStreebog256, GCRY_MD_STRIBOG256},
                 {kStreebog512, GCRY_MD_STRIBOG512},
                 {CALG_SHA1, GCRY_MD_SHA1}};
    std::mt19937 random(34);
    for (int round = 0; round < 400; ++round) {
        const auto& pair = pairs[round % 4];
        std::vector<std::uint8_t> message(random() % 300);
        std::generate(message.begin(), message.end(),
                      [&random] { return static_cast<std::uint8_t>(random()); });
        Hash hash(context_, pair.algorithm);
        for (std::size_t done = 0; done < message.size();) {
            const std::size_t piece = std::min<std::size_t>(random() % 70, message.size() - done);
            hash.Add(std::span(message).subspan(done, piece));
            done += piece;
        }
        std::vector<std::uint8_t> expected(gcry_md_get_algo_dlen(pair.peer));
        gcry_md_hash_buffer(pair.peer, expected.data(), message.data(), message.size());
        ASSERT_EQ(hash.Value(), expected) << pair.algorithm << ' ' << ToHex(message);
    }
}

TEST(FindDigest, KnowsTheHashesAndNothingElse) {
    for (const ALG_ID algorithm : {kGost94, kStreebog256, kStreebog512, ALG_ID{CALG_SHA1}}) {
        const provider::DigestAlgorithm* const found = provider::FindDigest(algorithm);
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(found->id, algorithm);
        EXPECT_LE(found->digestSize, provider::kLargestDigest);
        EXPECT_LE(found->blockSize, provider::kLargestBlock);
    }
    for (const ALG_ID algorithm : {ALG_ID{0}, ALG_ID{CALG_HMAC}, ALG_ID{0x8003}, ALG_ID{0x661E}}) {
        EXPECT_EQ(provider::FindDigest(algorithm), nullptr);
    }
}

}  // namespace
