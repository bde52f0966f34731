// What a hash object allows when, through the provider's entry points.
#include "provider/hash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "csp.h"
#include "provider/session_key.h"
#include "support/csp_guards.h"
#include "support/hex.h"
#include "support/last_error.h"

namespace {

using test_support::kGost28147;
using test_support::kGost94;
using test_support::kStreebog256;
using test_support::kStreebog512;
using test_support::Octets;
using test_support::ToHex;

class ProviderHash : public testing::Test {
  protected:
    void SetUp() override {
        VTableProvStruc caller{};
        ASSERT_TRUE(CPAcquireContext(&context_, nullptr, CRYPT_VERIFYCONTEXT, &caller));
        ASSERT_TRUE(CPGenKey(context_, kGost28147, 0, &key_));
    }
    void TearDown() override { CPReleaseContext(context_, 0); }

    HCRYPTHASH Create(ALG_ID algorithm, HCRYPTKEY key = 0) const {
        HCRYPTHASH hash = 0;
        EXPECT_TRUE(CPCreateHash(context_, algorithm, key, 0, &hash));
        return hash;
    }
    BOOL SetHmacInfo(HCRYPTHASH hash, ALG_ID algorithm) const {
        HMAC_INFO info{};
        info.HashAlgid = algorithm;
        return CPSetHashParam(context_, hash, HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info),
                              0);
    }
    HCRYPTHASH CreateHmac(ALG_ID algorithm) const {
        const HCRYPTHASH hash = Create(CALG_HMAC, key_);
        EXPECT_TRUE(SetHmacInfo(hash, algorithm));
        return hash;
    }
    BOOL Add(HCRYPTHASH hash, std::string_view data) const {
        return CPHashData(context_, hash, reinterpret_cast<const BYTE*>(data.data()),
                          static_cast<DWORD>(data.size()), 0);
    }
    BOOL Get(HCRYPTHASH hash, DWORD parameter, std::vector<BYTE>* out) const {
        DWORD size = static_cast<DWORD>(out->size());
        const BOOL answer = CPGetHashParam(context_, hash, parameter, out->data(), &size, 0);
        out->resize(size);
        return answer;
    }
    DWORD GetNumber(HCRYPTHASH hash, DWORD parameter) const {
        DWORD number = 0;
        DWORD size = sizeof(number);
        EXPECT_TRUE(
            CPGetHashParam(context_, hash, parameter, reinterpret_cast<BYTE*>(&number), &size, 0));
        EXPECT_EQ(size, sizeof(number));
        return number;
    }
    std::string Value(HCRYPTHASH hash) const {
        std::vector<BYTE> value(64);
        EXPECT_TRUE(Get(hash, HP_HASHVAL, &value));
        return ToHex(value);
    }

    HCRYPTPROV context_ = 0;
    HCRYPTKEY key_ = 0;
};

constexpr char kAbc94[] = "b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c";

TEST_F(ProviderHash, TellsItsLengthWithoutFinishing) {
    const HCRYPTHASH hash = Create(kGost94);
    ASSERT_TRUE(Add(hash, "a"));
    DWORD size = 0;
    EXPECT_TRUE(CPGetHashParam(context_, hash, HP_HASHVAL, nullptr, &size, 0));
    EXPECT_EQ(size, 32U);
    EXPECT_EQ(GetNumber(hash, HP_HASHSIZE), 32U);
    EXPECT_EQ(GetNumber(hash, HP_ALGID), kGost94);
    EXPECT_TRUE(Add(hash, "bc"));
    EXPECT_EQ(Value(hash), kAbc94);
}

TEST_F(ProviderHash, IsNotFinishedByABufferThatIsTooSmall) {
    const HCRYPTHASH hash = Create(kGost94);
    ASSERT_TRUE(Add(hash, "a"));
    std::vector<BYTE> tooSmall(31);
    EXPECT_FAILS_WITH(ERROR_MORE_DATA, Get(hash, HP_HASHVAL, &tooSmall));
    EXPECT_EQ(tooSmall.size(), 32U);
    EXPECT_TRUE(Add(hash, "bc"));
    EXPECT_EQ(Value(hash), kAbc94);
}

TEST_F(ProviderHash, GivesItsValueAgainAndHashesNoMore) {
    for (const HCRYPTHASH hash : {Create(kStreebog512), CreateHmac(kStreebog512)}) {
        ASSERT_TRUE(Add(hash, "abc"));
        const std::string value = Value(hash);
        EXPECT_EQ(Value(hash), value);
        EXPECT_FAILS_WITH(NTE_BAD_HASH_STATE, Add(hash, "d"));
        EXPECT_FAILS_WITH(NTE_BAD_HASH_STATE, Add(hash, ""));
        EXPECT_EQ(Value(hash), value);
    }
}

TEST_F(ProviderHash, HasTheLengthOfItsAlgorithm) {
    const struct {
        ALG_ID algorithm;
        DWORD size;
    } sizes[] = {{kGost94, 32}, {kStreebog256, 32}, {kStreebog512, 64}, {CALG_SHA1, 20}};
    for (const auto& expected : sizes) {
        EXPECT_EQ(GetNumber(Create(expected.algorithm), HP_HASHSIZE), expected.size);
        const HCRYPTHASH hmac = CreateHmac(expected.algorithm);
        EXPECT_EQ(GetNumber(hmac, HP_HASHSIZE), expected.size);
        EXPECT_EQ(GetNumber(hmac, HP_ALGID), DWORD{CALG_HMAC});
        DWORD size = 0;
        EXPECT_TRUE(CPGetHashParam(context_, hmac, HP_HASHVAL, nullptr, &size, 0));
        EXPECT_EQ(size, expected.size);
    }
}

TEST_F(ProviderHash, TakesNoDataForTheEmptyMessage) {
    const HCRYPTHASH hash = Create(CALG_SHA1);
    EXPECT_TRUE(CPHashData(context_, hash, nullptr, 0, 0));
    EXPECT_EQ(Value(hash), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

TEST_F(ProviderHash, OfAKeyWaitsForItsHmacInfo) {
    const HCRYPTHASH hash = Create(CALG_HMAC, key_);
    std::vector<BYTE> out(64);
    EXPECT_FAILS_WITH(NTE_BAD_HASH_STATE, Add(hash, "abc"));
    EXPECT_FAILS_WITH(NTE_BAD_HASH_STATE, Get(hash, HP_HASHVAL, &out));
    EXPECT_FAILS_WITH(NTE_BAD_HASH_STATE, Get(hash, HP_HASHSIZE, &out));
    EXPECT_EQ(GetNumber(hash, HP_ALGID), DWORD{CALG_HMAC});
    EXPECT_TRUE(SetHmacInfo(hash, kGost94));
    EXPECT_TRUE(Add(hash, "abc"));
}

TEST_F(ProviderHash, RefusesAnHmacInfoItCannotUse) {
    const HCRYPTHASH hash = Create(CALG_HMAC, key_);
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, SetHmacInfo(hash, 0));
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, SetHmacInfo(hash, CALG_HMAC));
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, SetHmacInfo(hash, 0x8003));
    BYTE pad[64] = {};
    HMAC_INFO info{};
    info.HashAlgid = kGost94;
    info.pbInnerString = pad;
    info.cbInnerString = sizeof(pad);
    EXPECT_FAILS_WITH(
        ERROR_INVALID_PARAMETER,
        CPSetHashParam(context_, hash, HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), 0));
    EXPECT_TRUE(SetHmacInfo(hash, kGost94));
    EXPECT_FAILS_WITH(NTE_BAD_HASH_STATE, SetHmacInfo(hash, kGost94));
    EXPECT_FAILS_WITH(NTE_BAD_HASH_STATE, SetHmacInfo(Create(kGost94), kGost94));
}

TEST_F(ProviderHash, OutlivesItsKeyOnceItHasItsPads) {
    const HCRYPTHASH first = CreateHmac(kGost94);
    const HCRYPTHASH second = CreateHmac(kGost94);
    const HCRYPTHASH waiting = Create(CALG_HMAC, key_);
    ASSERT_TRUE(Add(first, "abc"));
    const std::string value = Value(first);
    ASSERT_TRUE(CPDestroyKey(context_, key_));
    ASSERT_TRUE(Add(second, "abc"));
    EXPECT_EQ(Value(second), value);
    EXPECT_FAILS_WITH(NTE_BAD_KEY, SetHmacInfo(waiting, kGost94));
}

TEST_F(ProviderHash, FollowsTheValueThatItsKeyHasWhenItGetsItsPads) {
    const std::array<BYTE, 32> value{1, 2, 3};
    const HCRYPTHASH before = CreateHmac(kGost94);
    ASSERT_TRUE(CPSetKeyParam(context_, key_, KP_KEYVAL, value.data(), 0));
    const HCRYPTHASH after = CreateHmac(kGost94);
    const HCRYPTHASH again = CreateHmac(kGost94);
    for (const HCRYPTHASH hash : {before, after, again}) {
        ASSERT_TRUE(Add(hash, "abc"));
    }
    EXPECT_NE(Value(before), Value(after));
    EXPECT_EQ(Value(after), Value(again));
}

TEST_F(ProviderHash, IsCopiedInEveryState) {
    const HCRYPTHASH waiting = Create(CALG_HMAC, key_);
    HCRYPTHASH copyOfWaiting = 0;
    ASSERT_TRUE(CPDuplicateHash(context_, waiting, nullptr, 0, &copyOfWaiting));
    EXPECT_TRUE(SetHmacInfo(copyOfWaiting, kGost94));
    EXPECT_FAILS_WITH(NTE_BAD_HASH_STATE, Add(waiting, "a"));

    for (const HCRYPTHASH hash : {Create(kStreebog256), CreateHmac(kStreebog256)}) {
        HCRYPTHASH copy = 0;
        HCRYPTHASH copyOfFinished = 0;
        ASSERT_TRUE(Add(hash, "ab"));
        ASSERT_TRUE(CPDuplicateHash(context_, hash, nullptr, 0, &copy));
        ASSERT_TRUE(Add(hash, "c"));
        const std::string value = Value(hash);
        ASSERT_TRUE(CPDuplicateHash(context_, hash, nullptr, 0, &copyOfFinished));
        ASSERT_TRUE(CPDestroyHash(context_, hash));
        ASSERT_TRUE(Add(copy, "c"));
        EXPECT_EQ(Value(copy), value);
        EXPECT_EQ(Value(copyOfFinished), value);
    }
}

TEST_F(ProviderHash, TakesAValueThatWasComputedElsewhere) {
    const HCRYPTHASH hash = Create(CALG_SHA1);
    const auto value = test_support::FromHex("a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_TRUE(CPSetHashParam(context_, hash, HP_HASHVAL, value.data(), 0));
    EXPECT_EQ(Value(hash), ToHex(value));
    EXPECT_FAILS_WITH(NTE_BAD_HASH_STATE,
                      CPSetHashParam(context_, hash, HP_HASHVAL, value.data(), 0));
    EXPECT_FAILS_WITH(NTE_BAD_TYPE,
                      CPSetHashParam(context_, CreateHmac(CALG_SHA1), HP_HASHVAL, value.data(), 0));
}

TEST_F(ProviderHash, GivesTheErrorWordsOfItsCreation) {
    HCRYPTHASH hash = 0;
    EXPECT_FAILS_WITH(NTE_BAD_UID, CPCreateHash(0, kGost94, 0, 0, &hash));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, CPCreateHash(context_, kGost94, 0, 0, nullptr));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPCreateHash(context_, kGost94, 0, 1, &hash));
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, CPCreateHash(context_, 0x8003, 0, 0, &hash));
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, CPCreateHash(context_, kGost28147, 0, 0, &hash));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CPCreateHash(context_, kGost94, key_, 0, &hash));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CPCreateHash(context_, CALG_HMAC, 0, 0, &hash));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CPCreateHash(context_, CALG_HMAC, context_, 0, &hash));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CPCreateHash(context_, CALG_HMAC, ~HCRYPTKEY{0}, 0, &hash));
    EXPECT_EQ(hash, 0U);
}

TEST_F(ProviderHash, GivesTheErrorWordsOfItsParameters) {
    const HCRYPTHASH hash = Create(kGost94);
    BYTE data[64] = {};
    DWORD size = sizeof(data);
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, CPGetHashParam(context_, hash, 99, data, &size, 0));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPGetHashParam(context_, hash, HP_HASHVAL, data, &size, 1));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPGetHashParam(context_, hash, HP_HASHVAL, data, nullptr, 0));
    size = 3;
    EXPECT_FAILS_WITH(ERROR_MORE_DATA, CPGetHashParam(context_, hash, HP_HASHSIZE, data, &size, 0));
    EXPECT_EQ(size, 4U);
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, CPSetHashParam(context_, hash, HP_ALGID, data, 0));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPSetHashParam(context_, hash, HP_HASHVAL, data, 1));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPSetHashParam(context_, hash, HP_HASHVAL, nullptr, 0));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, CPHashData(context_, hash, nullptr, 1, 0));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPHashData(context_, hash, data, 1, 1));
    DWORD reserved = 0;
    HCRYPTHASH copy = 0;
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPDuplicateHash(context_, hash, &reserved, 0, &copy));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPDuplicateHash(context_, hash, nullptr, 0, nullptr));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPDuplicateHash(context_, hash, nullptr, 1, &copy));
}

TEST_F(ProviderHash, IsRefusedUnderAHandleThatIsNone) {
    const HCRYPTHASH freed = Create(kGost94);
    ASSERT_TRUE(CPDestroyHash(context_, freed));
    VTableProvStruc caller{};
    HCRYPTPROV other = 0;
    ASSERT_TRUE(CPAcquireContext(&other, nullptr, CRYPT_VERIFYCONTEXT, &caller));
    HCRYPTHASH others = 0;
    ASSERT_TRUE(CPCreateHash(other, kGost94, 0, 0, &others));
    BYTE data[64] = {};
    DWORD size = sizeof(data);
    HCRYPTHASH copy = 0;
    for (const HCRYPTHASH bad :
         {HCRYPTHASH{0}, HCRYPTHASH{3}, ~HCRYPTHASH{0}, freed, others, key_, context_}) {
        EXPECT_FAILS_WITH(NTE_BAD_HASH, CPHashData(context_, bad, data, 1, 0)) << bad;
        EXPECT_FAILS_WITH(NTE_BAD_HASH, CPGetHashParam(context_, bad, HP_HASHVAL, data, &size, 0));
        EXPECT_FAILS_WITH(NTE_BAD_HASH, CPSetHashParam(context_, bad, HP_HASHVAL, data, 0));
        EXPECT_FAILS_WITH(NTE_BAD_HASH, CPDuplicateHash(context_, bad, nullptr, 0, &copy));
        EXPECT_FAILS_WITH(NTE_BAD_HASH, CPDestroyHash(context_, bad));
    }
    ASSERT_TRUE(CPReleaseContext(other, 0));
    EXPECT_FAILS_WITH(NTE_BAD_UID, CPHashData(other, others, data, 1, 0));
    EXPECT_FAILS_WITH(NTE_BAD_HASH, CPHashData(context_, others, data, 1, 0));
}

// Whether eight octets of `secret` in a row stand anywhere in the object. Rows with many zeros are
// counters, which prove nothing.
template <typename Object>
bool Holds(const Object& object, std::span<const std::byte> secret) {
    std::vector<std::byte> bytes(sizeof(object));
    std::memcpy(bytes.data(), &object, sizeof(object));
    for (std::size_t i = 0; i + 8 <= secret.size(); ++i) {
        const auto piece = secret.subspan(i, 8);
        if (std::count(piece.begin(), piece.end(), std::byte{0}) > 2) {
            continue;
        }
        if (std::search(bytes.begin(), bytes.end(), piece.begin(), piece.end()) != bytes.end()) {
            return true;
        }
    }
    return false;
}

struct Secrets {
    provider::HmacPads pads;
    std::vector<std::byte> chaining[2];
};

Secrets MakeSecrets(const provider::DigestAlgorithm& algorithm) {
    Secrets secrets;
    const std::vector<BYTE> key =
        test_support::FromHex("f1e2d3c4b5a697887969504132f3e4d5c6b7a8990a1b2c3d4e5f60718293a4b5");
    ComputeHmacPads(algorithm, key, &secrets.pads);
    for (const auto* state : {&secrets.pads.inner, &secrets.pads.outer}) {
        auto& copy = secrets.chaining[state == &secrets.pads.outer];
        copy.assign(state->bytes.begin(),
                    state->bytes.begin() + static_cast<std::ptrdiff_t>(algorithm.chainingSize));
    }
    return secrets;
}

TEST(HashObject, HoldsNoSecretAfterTheWipe) {
    for (const ALG_ID id : {kGost94, kStreebog256, kStreebog512, ALG_ID{CALG_SHA1}}) {
        const provider::DigestAlgorithm& algorithm = *provider::FindDigest(id);
        const Secrets secrets = MakeSecrets(algorithm);
        for (const bool isFinished : {false, true}) {
            provider::Hash hash{};
            hash.StartKeyed(1);
            hash.SetPads(secrets.pads);
            EXPECT_TRUE(Holds(hash, secrets.chaining[0]));
            EXPECT_TRUE(Holds(hash, secrets.chaining[1]));
            const auto message = Octets("thirty-one octets of a message.");
            EXPECT_EQ(hash.Update(message.data(), static_cast<DWORD>(message.size())), S_OK);
            std::vector<BYTE> value(algorithm.digestSize);
            if (isFinished) {
                DWORD size = algorithm.digestSize;
                EXPECT_EQ(hash.GetParameter(HP_HASHVAL, value.data(), &size), S_OK);
                EXPECT_TRUE(Holds(hash, std::as_bytes(std::span(value))));
            }
            hash.WipeSecrets();
            EXPECT_FALSE(Holds(hash, secrets.chaining[0])) << id << isFinished;
            EXPECT_FALSE(Holds(hash, secrets.chaining[1])) << id << isFinished;
            EXPECT_FALSE(Holds(hash, std::as_bytes(std::span(message)))) << id << isFinished;
            EXPECT_FALSE(Holds(hash, std::as_bytes(std::span(value)))) << id << isFinished;
        }
    }
}

}  // namespace
