// Encryption and decryption, through the provider's entry points.
#include "provider/cipher.h"

#include <gcrypt.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "csp.h"
#include "provider/algorithms.h"
#include "support/csp_guards.h"
#include "support/hex.h"
#include "support/last_error.h"

namespace {

using provider::kCipherOidParameter;
using test_support::FromHex;
using test_support::kGost28147;
using test_support::kGost94;
using test_support::Octets;
using test_support::ToHex;

using Bytes = std::vector<BYTE>;

constexpr const char* kParameterSets[] = {
    "1.2.643.2.2.31.1", "1.2.643.2.2.31.2",    "1.2.643.2.2.31.3",
    "1.2.643.2.2.31.4", "1.2.643.7.1.2.5.1.1",
};

Bytes PlainText(std::size_t size) {
    Bytes plain(size);
    for (std::size_t i = 0; i < size; ++i) {
        plain[i] = static_cast<BYTE>(i % 251);
    }
    return plain;
}

std::string Sha256Of(const Bytes& octets) {
    std::array<BYTE, 32> digest{};
    gcry_md_hash_buffer(GCRY_MD_SHA256, digest.data(), octets.data(), octets.size());
    return ToHex(digest);
}

class ProviderCipher : public testing::Test {
  protected:
    void SetUp() override {
        VTableProvStruc caller{};
        ASSERT_TRUE(CPAcquireContext(&context_, nullptr, CRYPT_VERIFYCONTEXT, &caller));
        key_ = MakeKey();
    }
    void TearDown() override { CPReleaseContext(context_, 0); }

    HCRYPTKEY MakeKey() const {
        HCRYPTKEY key = 0;
        EXPECT_TRUE(CPGenKey(context_, kGost28147, 0, &key));
        return key;
    }
    BOOL Set(DWORD parameter, const void* data) const {
        return CPSetKeyParam(context_, key_, parameter, static_cast<const BYTE*>(data), 0);
    }
    void Restrict(DWORD permissions) const { ASSERT_TRUE(Set(KP_PERMISSIONS, &permissions)); }
    BOOL Encrypt(Bytes* piece, bool isFinal = true, HCRYPTHASH hash = 0) const {
        DWORD size = static_cast<DWORD>(piece->size());
        // A null pointer would be a question.
        BYTE nothing = 0;
        BYTE* const data = piece->empty() ? &nothing : piece->data();
        return CPEncrypt(context_, key_, hash, isFinal, 0, data, &size, size);
    }
    BOOL Decrypt(Bytes* piece, bool isFinal = true, HCRYPTHASH hash = 0) const {
        DWORD size = static_cast<DWORD>(piece->size());
        return CPDecrypt(context_, key_, hash, isFinal, 0, piece->data(), &size);
    }
    Bytes Encrypted(Bytes text) const {
        EXPECT_TRUE(Encrypt(&text));
        return text;
    }
    HCRYPTHASH MakeHash() const {
        HCRYPTHASH hash = 0;
        EXPECT_TRUE(CPCreateHash(context_, kGost94, 0, 0, &hash));
        return hash;
    }
    Bytes ValueOf(HCRYPTHASH hash) const {
        Bytes value(32);
        DWORD size = 32;
        EXPECT_TRUE(CPGetHashParam(context_, hash, HP_HASHVAL, value.data(), &size, 0));
        return value;
    }

    HCRYPTPROV context_ = 0;
    HCRYPTKEY key_ = 0;
};

TEST_F(ProviderCipher, AgreesWithThePeersCipherTexts) {
    std::ifstream file(MVLPFX_TEST_DATA "/ciphers/gost28147_cfb.vec");
    int count = 0;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string first;
        words >> first;
        if (first == "key" || first == "vector") {
            std::string hex;
            words >> hex;
            ASSERT_TRUE(Set(first == "key" ? KP_KEYVAL : KP_IV, FromHex(hex).data()));
        } else if (first != "#") {
            std::size_t size = 0;
            std::string sum;
            std::string start;
            ASSERT_TRUE(words >> size >> sum >> start) << line;
            ASSERT_TRUE(Set(kCipherOidParameter, first.c_str())) << line;
            Bytes text = Encrypted(PlainText(size));
            EXPECT_EQ(Sha256Of(text), sum) << line;
            const std::string ours = ToHex(std::span(text).first(std::min<std::size_t>(size, 16)));
            EXPECT_EQ(ours.empty() ? "-" : ours, start);
            EXPECT_TRUE(Decrypt(&text));
            EXPECT_EQ(text, PlainText(size)) << line;
            ++count;
        }
    }
    EXPECT_EQ(count, 5 * 9);
}

// The feedback, the part-used block and the count up to the next meshing go on from piece to piece.
TEST_F(ProviderCipher, PiecesMakeWhatTheWholeMakes) {
    std::mt19937 random(28147);
    for (int round = 0; round < 200; ++round) {
        ASSERT_TRUE(Set(kCipherOidParameter, kParameterSets[random() % 5]));
        const Bytes plain = PlainText(random() % 5000);
        const Bytes whole = Encrypted(plain);
        Bytes encrypted;
        Bytes decrypted;
        const std::size_t largest = round % 2 == 0 ? 30 : 2000;
        for (const bool isEncryption : {true, false}) {
            const Bytes& from = isEncryption ? plain : whole;
            Bytes* const to = isEncryption ? &encrypted : &decrypted;
            for (std::size_t at = 0; at < from.size();) {
                const std::size_t size = std::min(random() % largest, from.size() - at);
                const auto start = from.begin() + static_cast<std::ptrdiff_t>(at);
                Bytes piece(start, start + static_cast<std::ptrdiff_t>(size));
                ASSERT_TRUE(isEncryption ? Encrypt(&piece, false) : Decrypt(&piece, false));
                to->insert(to->end(), piece.begin(), piece.end());
                at += size;
            }
            Bytes nothing;
            ASSERT_TRUE(isEncryption ? Encrypt(&nothing) : Decrypt(&nothing));
        }
        ASSERT_EQ(encrypted, whole) << "round " << round;
        ASSERT_EQ(decrypted, plain) << "round " << round;
    }
}

TEST_F(ProviderCipher, EveryMessageStartsFromTheVector) {
    const Bytes first = Encrypted(PlainText(100));
    EXPECT_EQ(Encrypted(PlainText(100)), first);
    Bytes piece = PlainText(33);
    ASSERT_TRUE(Encrypt(&piece, false));
    ASSERT_TRUE(Encrypt(&piece, true));
    EXPECT_EQ(Encrypted(PlainText(100)), first);
}

TEST_F(ProviderCipher, WhatIsSetDropsTheMessageUnderWay) {
    const std::array<BYTE, 8> vector{};
    const std::array<BYTE, 32> value{7};
    ASSERT_TRUE(Set(KP_KEYVAL, value.data()));
    const Bytes whole = Encrypted(PlainText(50));
    const auto begin = [this] {
        Bytes piece = PlainText(21);
        ASSERT_TRUE(Encrypt(&piece, false));
    };
    begin();
    ASSERT_TRUE(Set(KP_IV, vector.data()));
    EXPECT_EQ(Encrypted(PlainText(50)), whole);
    begin();
    ASSERT_TRUE(Set(KP_X, value.data()));
    EXPECT_EQ(Encrypted(PlainText(50)), whole);
    begin();
    ASSERT_TRUE(Set(kCipherOidParameter, "1.2.643.2.2.31.1"));
    EXPECT_EQ(Encrypted(PlainText(50)), whole);
    begin();
    EXPECT_NE(Encrypted(PlainText(50)), whole);
}

TEST_F(ProviderCipher, TellsTheSizeWithoutABuffer) {
    const Bytes whole = Encrypted(PlainText(40));
    Bytes piece = PlainText(17);
    ASSERT_TRUE(Encrypt(&piece, false));
    DWORD size = 23;
    EXPECT_TRUE(CPEncrypt(context_, key_, 0, TRUE, 0, nullptr, &size, 0));
    EXPECT_EQ(size, 23U);
    // The question ended nothing.
    const Bytes plain = PlainText(40);
    Bytes rest(plain.begin() + 17, plain.end());
    ASSERT_TRUE(Encrypt(&rest));
    piece.insert(piece.end(), rest.begin(), rest.end());
    EXPECT_EQ(piece, whole);
}

TEST_F(ProviderCipher, TakesNoMoreThanTheBufferHolds) {
    Bytes text = PlainText(10);
    DWORD size = 10;
    EXPECT_FAILS_WITH(ERROR_MORE_DATA,
                      CPEncrypt(context_, key_, 0, TRUE, 0, text.data(), &size, 9));
    EXPECT_EQ(size, 10U);
    EXPECT_EQ(text, PlainText(10));
    EXPECT_TRUE(CPEncrypt(context_, key_, 0, TRUE, 0, text.data(), &size, 10));
}

TEST_F(ProviderCipher, DecryptsNothingFromNowhere) {
    DWORD size = 0;
    EXPECT_TRUE(CPDecrypt(context_, key_, 0, TRUE, 0, nullptr, &size));
    EXPECT_EQ(size, 0U);
}

TEST_F(ProviderCipher, NeedsThePermission) {
    Bytes text = PlainText(10);
    Restrict(CRYPT_DECRYPT);
    EXPECT_FAILS_WITH(NTE_PERM, Encrypt(&text));
    EXPECT_TRUE(Decrypt(&text));
    const DWORD more = CRYPT_DECRYPT | CRYPT_ENCRYPT;
    EXPECT_FAILS_WITH(NTE_PERM, Set(KP_PERMISSIONS, &more));
    Restrict(0);
    EXPECT_FAILS_WITH(NTE_PERM, Decrypt(&text));
}

TEST_F(ProviderCipher, ShowsThePlainTextToAHash) {
    const HCRYPTHASH plain = MakeHash();
    const Bytes text = PlainText(77);
    ASSERT_TRUE(CPHashData(context_, plain, text.data(), 77, 0));
    const Bytes expected = ValueOf(plain);
    const HCRYPTHASH whileEncrypting = MakeHash();
    Bytes message = text;
    ASSERT_TRUE(Encrypt(&message, true, whileEncrypting));
    EXPECT_NE(message, text);
    EXPECT_EQ(ValueOf(whileEncrypting), expected);
    const HCRYPTHASH whileDecrypting = MakeHash();
    const Bytes cipherText = message;
    ASSERT_TRUE(Decrypt(&message, true, whileDecrypting));
    EXPECT_EQ(message, text);
    EXPECT_EQ(ValueOf(whileDecrypting), expected);
    // A hash that has given its value takes no more, and the text stays as it was.
    message = cipherText;
    EXPECT_FAILS_WITH(NTE_BAD_HASH_STATE, Decrypt(&message, true, whileDecrypting));
    EXPECT_EQ(message, cipherText);
    EXPECT_FAILS_WITH(NTE_BAD_HASH, Decrypt(&message, true, 12345));
    EXPECT_FAILS_WITH(NTE_BAD_HASH, Encrypt(&message, true, 12345));
    EXPECT_EQ(message, cipherText);
}

TEST_F(ProviderCipher, GivesItsErrorWords) {
    Bytes text = PlainText(10);
    DWORD size = 10;
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPEncrypt(context_, key_, 0, TRUE, 0, text.data(), nullptr, 10));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPDecrypt(context_, key_, 0, TRUE, 0, text.data(), nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPDecrypt(context_, key_, 0, TRUE, 0, nullptr, &size));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS,
                      CPEncrypt(context_, key_, 0, TRUE, 0x40, text.data(), &size, 10));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPEncrypt(context_, key_, 0, TRUE, 1, nullptr, &size, 0));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPDecrypt(context_, key_, 0, TRUE, 1, text.data(), &size));
    EXPECT_FAILS_WITH(NTE_BAD_UID, CPEncrypt(0, key_, 0, TRUE, 0, text.data(), &size, 10));
    EXPECT_FAILS_WITH(NTE_BAD_UID, CPDecrypt(0, key_, 0, TRUE, 0, text.data(), &size));
    ASSERT_TRUE(CPDestroyKey(context_, key_));
    for (const HCRYPTKEY bad : {HCRYPTKEY{0}, ~HCRYPTKEY{0}, key_, context_}) {
        EXPECT_FAILS_WITH(NTE_BAD_KEY,
                          CPEncrypt(context_, bad, 0, TRUE, 0, text.data(), &size, 10));
        EXPECT_FAILS_WITH(NTE_BAD_KEY, CPEncrypt(context_, bad, 0, TRUE, 0, nullptr, &size, 10));
        EXPECT_FAILS_WITH(NTE_BAD_KEY, CPDecrypt(context_, bad, 0, TRUE, 0, text.data(), &size));
    }
    EXPECT_EQ(text, PlainText(10));
}

// A key that goes with a message under way lets go of the message too; memory checkers see to it.
TEST_F(ProviderCipher, IsReleasedInTheMidstOfAMessage) {
    for (int i = 0; i < 3; ++i) {
        key_ = MakeKey();
        Bytes piece = PlainText(5);
        ASSERT_TRUE(Encrypt(&piece, false));
        if (i == 0) {
            ASSERT_TRUE(CPDestroyKey(context_, key_));
        }
    }
}

}  // namespace
