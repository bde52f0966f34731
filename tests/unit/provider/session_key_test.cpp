// Session keys and contexts, through the provider's entry points.
#include "provider/session_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "csp.h"
#include "provider/algorithms.h"
#include "support/csp_guards.h"
#include "support/last_error.h"

namespace {

using provider::kCipherOidParameter;
using test_support::kGost28147;
using test_support::kGost94;
using test_support::kStreebog512;

HCRYPTPROV AcquireContext() {
    VTableProvStruc caller{};
    HCRYPTPROV context = 0;
    EXPECT_TRUE(CPAcquireContext(&context, nullptr, CRYPT_VERIFYCONTEXT, &caller));
    return context;
}

class ProviderKey : public testing::Test {
  protected:
    void SetUp() override {
        context_ = AcquireContext();
        ASSERT_TRUE(CPGenKey(context_, kGost28147, 0, &key_));
    }
    void TearDown() override { CPReleaseContext(context_, 0); }

    BOOL Set(DWORD parameter, const void* data) const {
        return CPSetKeyParam(context_, key_, parameter, static_cast<const BYTE*>(data), 0);
    }
    std::vector<BYTE> Get(DWORD parameter) const {
        DWORD size = 0;
        EXPECT_TRUE(CPGetKeyParam(context_, key_, parameter, nullptr, &size, 0));
        std::vector<BYTE> value(size);
        EXPECT_TRUE(CPGetKeyParam(context_, key_, parameter, value.data(), &size, 0));
        return value;
    }
    DWORD GetNumber(DWORD parameter) const {
        const std::vector<BYTE> value = Get(parameter);
        DWORD number = 0;
        EXPECT_EQ(value.size(), sizeof(number));
        std::memcpy(&number, value.data(), std::min(value.size(), sizeof(number)));
        return number;
    }
    std::string GetText(DWORD parameter) const {
        const std::vector<BYTE> value = Get(parameter);
        EXPECT_EQ(value.back(), 0);
        return {value.begin(), value.end() - 1};
    }
    std::vector<BYTE> HmacOf(HCRYPTKEY key) const {
        HCRYPTHASH hash = 0;
        HMAC_INFO info{};
        info.HashAlgid = kGost94;
        std::vector<BYTE> value(32);
        DWORD size = 32;
        EXPECT_TRUE(CPCreateHash(context_, CALG_HMAC, key, 0, &hash));
        EXPECT_TRUE(
            CPSetHashParam(context_, hash, HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), 0));
        EXPECT_TRUE(CPGetHashParam(context_, hash, HP_HASHVAL, value.data(), &size, 0));
        EXPECT_TRUE(CPDestroyHash(context_, hash));
        return value;
    }

    HCRYPTPROV context_ = 0;
    HCRYPTKEY key_ = 0;
};

TEST_F(ProviderKey, IsRandomAtFirst) {
    HCRYPTKEY other = 0;
    ASSERT_TRUE(CPGenKey(context_, kGost28147, 0, &other));
    const std::array<BYTE, 32> zeros{};
    EXPECT_NE(HmacOf(key_), HmacOf(other));
    const std::vector<BYTE> before = HmacOf(key_);
    ASSERT_TRUE(Set(KP_KEYVAL, zeros.data()));
    EXPECT_NE(HmacOf(key_), before);
}

TEST_F(ProviderKey, TakesItsValueByEitherParameter) {
    HCRYPTKEY other = 0;
    ASSERT_TRUE(CPGenKey(context_, kGost28147, 0, &other));
    const std::array<BYTE, 32> value{9, 8, 7};
    ASSERT_TRUE(Set(KP_KEYVAL, value.data()));
    ASSERT_TRUE(CPSetKeyParam(context_, other, KP_X, value.data(), 0));
    EXPECT_EQ(HmacOf(key_), HmacOf(other));
}

TEST_F(ProviderKey, TellsWhatItIs) {
    EXPECT_EQ(GetNumber(KP_ALGID), kGost28147);
    EXPECT_EQ(GetNumber(KP_KEYLEN), 256U);
    EXPECT_EQ(GetNumber(KP_BLOCKLEN), 64U);
    EXPECT_EQ(GetNumber(KP_PERMISSIONS) & CRYPT_EXPORT, 0U);
    HCRYPTKEY exportable = 0;
    ASSERT_TRUE(CPGenKey(context_, kGost28147, CRYPT_EXPORTABLE, &exportable));
    DWORD permissions = 0;
    DWORD size = sizeof(permissions);
    ASSERT_TRUE(CPGetKeyParam(context_, exportable, KP_PERMISSIONS,
                              reinterpret_cast<BYTE*>(&permissions), &size, 0));
    EXPECT_NE(permissions & CRYPT_EXPORT, 0U);
}

TEST_F(ProviderKey, KeepsItsVector) {
    EXPECT_EQ(Get(KP_IV), std::vector<BYTE>(8));
    const std::vector<BYTE> vector = {1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_TRUE(Set(KP_IV, vector.data()));
    EXPECT_EQ(Get(KP_IV), vector);
    ASSERT_TRUE(Set(kCipherOidParameter, "1.2.643.2.2.31.2"));
    EXPECT_EQ(Get(KP_IV), vector);
    DWORD size = 7;
    std::array<BYTE, 8> out{};
    EXPECT_FAILS_WITH(ERROR_MORE_DATA, CPGetKeyParam(context_, key_, KP_IV, out.data(), &size, 0));
    EXPECT_EQ(size, 8U);
}

TEST_F(ProviderKey, TakesEveryParameterSetAndRefusesOthers) {
    EXPECT_EQ(GetText(kCipherOidParameter), "1.2.643.2.2.31.1");
    for (const std::string oid : {"1.2.643.2.2.31.1", "1.2.643.2.2.31.2", "1.2.643.2.2.31.3",
                                  "1.2.643.2.2.31.4", "1.2.643.7.1.2.5.1.1"}) {
        ASSERT_TRUE(Set(kCipherOidParameter, oid.c_str()));
        EXPECT_EQ(GetText(kCipherOidParameter), oid);
    }
    for (const char* const oid :
         {"1.2.643.2.2.31.0", "1.2.643.2.2.31.5", "1.2.643.2.2.31", "1", "x"}) {
        EXPECT_FAILS_WITH(NTE_BAD_DATA, Set(kCipherOidParameter, oid)) << oid;
        EXPECT_EQ(GetText(kCipherOidParameter), "1.2.643.7.1.2.5.1.1");
    }
    ASSERT_TRUE(Set(kCipherOidParameter, ""));
    EXPECT_EQ(GetText(kCipherOidParameter), "1.2.643.2.2.31.1");
}

TEST_F(ProviderKey, DoesNotGiveItsValueAway) {
    std::array<BYTE, 64> out{};
    DWORD size = out.size();
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, CPGetKeyParam(context_, key_, KP_KEYVAL, out.data(), &size, 0));
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, CPGetKeyParam(context_, key_, KP_X, out.data(), &size, 0));
    EXPECT_EQ(out, (std::array<BYTE, 64>{}));
}

TEST_F(ProviderKey, GivesItsErrorWords) {
    HCRYPTKEY out = 0;
    std::array<BYTE, 32> data{};
    DWORD size = data.size();
    EXPECT_FAILS_WITH(NTE_BAD_UID, CPGenKey(0, kGost28147, 0, &out));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, CPGenKey(context_, kGost28147, 0, nullptr));
    for (const ALG_ID algorithm : {0U, 3U, 0x801EU, 0x6602U}) {
        EXPECT_FAILS_WITH(NTE_BAD_ALGID, CPGenKey(context_, algorithm, 0, &out));
    }
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPGenKey(context_, kGost28147, 2, &out));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPGenKey(context_, kGost28147, 0x01000000, &out));
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, Set(KP_ALGID, data.data()));
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, Set(9999, data.data()));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, Set(KP_KEYVAL, nullptr));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPSetKeyParam(context_, key_, KP_IV, data.data(), 1));
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, CPGetKeyParam(context_, key_, 9999, data.data(), &size, 0));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPGetKeyParam(context_, key_, KP_IV, data.data(), &size, 1));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPGetKeyParam(context_, key_, KP_IV, data.data(), nullptr, 0));
    EXPECT_EQ(out, 0U);
}

TEST_F(ProviderKey, IsRefusedUnderAHandleThatIsNone) {
    HCRYPTKEY freed = 0;
    ASSERT_TRUE(CPGenKey(context_, kGost28147, 0, &freed));
    ASSERT_TRUE(CPDestroyKey(context_, freed));
    const HCRYPTPROV other = AcquireContext();
    HCRYPTKEY others = 0;
    ASSERT_TRUE(CPGenKey(other, kGost28147, 0, &others));
    std::array<BYTE, 32> data{};
    DWORD size = data.size();
    for (const HCRYPTKEY bad :
         {HCRYPTKEY{0}, HCRYPTKEY{2}, ~HCRYPTKEY{0}, freed, others, context_}) {
        EXPECT_FAILS_WITH(NTE_BAD_KEY, CPSetKeyParam(context_, bad, KP_IV, data.data(), 0)) << bad;
        EXPECT_FAILS_WITH(NTE_BAD_KEY, CPGetKeyParam(context_, bad, KP_IV, data.data(), &size, 0));
        EXPECT_FAILS_WITH(NTE_BAD_KEY, CPDestroyKey(context_, bad));
    }
    ASSERT_TRUE(CPReleaseContext(other, 0));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CPDestroyKey(context_, others));
    EXPECT_FAILS_WITH(NTE_BAD_UID, CPDestroyKey(other, others));
}

TEST(SessionKey, KeepsItsPadsWhileItsValueAndTheHashAreTheSame) {
    provider::SessionKey key{};
    key.Generate(0);
    const provider::DigestAlgorithm& gost94 = *provider::FindDigest(kGost94);
    const provider::DigestAlgorithm& streebog = *provider::FindDigest(kStreebog512);
    const auto innerOf = [&key](const provider::DigestAlgorithm& algorithm) {
        const provider::HmacPads& pads = key.PadsFor(algorithm);
        EXPECT_EQ(pads.algorithm, &algorithm);
        provider::DigestState state;
        CopyDigestAtBlockBoundary(algorithm, pads.inner, &state);
        std::vector<BYTE> value(algorithm.digestSize);
        algorithm.finish(&state, value.data());
        WipeFinishedDigest(algorithm, &state);
        return value;
    };
    const auto first = innerOf(gost94);
    EXPECT_EQ(innerOf(gost94), first);
    const auto other = innerOf(streebog);
    EXPECT_EQ(innerOf(gost94), first);
    const std::array<BYTE, 32> value{1};
    EXPECT_EQ(key.SetParameter(KP_KEYVAL, value.data()), S_OK);
    EXPECT_NE(innerOf(gost94), first);
    EXPECT_NE(innerOf(streebog), other);
}

TEST(SessionKey, IsZeroAfterTheWipe) {
    provider::SessionKey key{};
    const std::array<BYTE, 32> value{0xF1, 0xE2, 0xD3, 0xC4, 0xB5, 0xA6, 0x97, 0x88};
    key.Generate(0);
    ASSERT_EQ(key.SetParameter(KP_KEYVAL, value.data()), S_OK);
    const provider::DigestAlgorithm& algorithm = *provider::FindDigest(kStreebog512);
    const provider::HmacPads& pads = key.PadsFor(algorithm);
    const std::vector<std::byte> inner(pads.inner.bytes.begin(), pads.inner.bytes.begin() + 64);
    const auto holds = [&key](auto begin, auto end) {
        const auto* const bytes = reinterpret_cast<const std::byte*>(&key);
        return std::search(bytes, bytes + sizeof(key), begin, end) != bytes + sizeof(key);
    };
    const auto* const valueBytes = reinterpret_cast<const std::byte*>(value.data());
    EXPECT_TRUE(holds(valueBytes, valueBytes + 8));
    EXPECT_TRUE(holds(inner.begin(), inner.begin() + 8));
    key.WipeSecrets();
    EXPECT_FALSE(holds(valueBytes, valueBytes + 8));
    for (auto at = inner.begin(); at + 8 <= inner.end(); at += 8) {
        EXPECT_FALSE(holds(at, at + 8));
    }
}

}  // namespace
