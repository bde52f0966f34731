// Signatures, through the provider's entry points.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "provider/gost_key.h"
#include "support/key_context.h"
#include "support/last_error.h"

namespace {

using test_support::ContainerHome;
using test_support::KeyContext;
using Bytes = std::vector<BYTE>;

struct Pair {
    ALG_ID key;
    ALG_ID hash;
    DWORD size;
};

constexpr Pair kPairs[] = {
    {0x2E23, 0x801E, 64}, {0xAA24, 0x801E, 64}, {0x2E49, 0x8021, 64}, {0x2E3D, 0x8022, 128}};

class Signature : public testing::Test {
  protected:
    static DWORD SlotOf(ALG_ID algorithm) {
        return algorithm == 0xAA24 ? AT_KEYEXCHANGE : AT_SIGNATURE;
    }

    ContainerHome home_;
    KeyContext context_{"mine", CRYPT_NEWKEYSET};
};

TEST_F(Signature, IsThatOfTheHashesValue) {
    for (const Pair& pair : kPairs) {
        const HCRYPTKEY key = context_.Generate(pair.key);
        const DWORD keySpec = SlotOf(pair.key);
        const Bytes signature = context_.Sign(context_.HashOf(pair.hash, "message"), keySpec);
        EXPECT_EQ(signature.size(), pair.size);
        const HCRYPTHASH hash = context_.HashOf(pair.hash, "message");
        EXPECT_TRUE(context_.Verify(hash, signature, key));
        // The hash is ended, and gives its value again and again.
        EXPECT_TRUE(context_.Verify(hash, signature, context_.UserKey(keySpec)));
        EXPECT_TRUE(context_.Verify(hash, context_.Sign(hash, keySpec), key));
        EXPECT_FAILS_WITH(NTE_BAD_SIGNATURE,
                          context_.Verify(context_.HashOf(pair.hash, "massage"), signature, key));
        Bytes other = signature;
        other.back() ^= 1;
        EXPECT_FAILS_WITH(NTE_BAD_SIGNATURE, context_.Verify(hash, other, key));
        other = signature;
        other.push_back(0);
        EXPECT_FAILS_WITH(NTE_BAD_SIGNATURE, context_.Verify(hash, other, key));
        other.resize(pair.size - 1);
        EXPECT_FAILS_WITH(NTE_BAD_SIGNATURE, context_.Verify(hash, other, key));
        const HCRYPTKEY replacement = context_.Generate(pair.key);
        EXPECT_FAILS_WITH(NTE_BAD_SIGNATURE, context_.Verify(hash, signature, replacement));
    }
}

TEST_F(Signature, IsMadeOverTheHashOfItsAlgorithmAlone) {
    for (const Pair& pair : kPairs) {
        const HCRYPTKEY key = context_.Generate(pair.key);
        for (const ALG_ID algorithm : {0x801EU, 0x8021U, 0x8022U, 0x8004U}) {
            if (algorithm == pair.hash) {
                continue;
            }
            const HCRYPTHASH hash = context_.HashOf(algorithm, "message");
            DWORD size = 0;
            EXPECT_FAILS_WITH(NTE_BAD_ALGID, CPSignHash(context_.Get(), hash, SlotOf(pair.key),
                                                        nullptr, 0, nullptr, &size));
            EXPECT_FAILS_WITH(NTE_BAD_ALGID, context_.Verify(hash, Bytes(pair.size), key));
        }
    }
}

TEST_F(Signature, LeavesTheHashOpenUntilItIsMade) {
    context_.Generate(AT_SIGNATURE);
    const HCRYPTHASH hash = context_.HashOf(0x8021, "mess");
    Bytes room(64);
    DWORD size = 63;
    EXPECT_FAILS_WITH(ERROR_MORE_DATA, CPSignHash(context_.Get(), hash, AT_SIGNATURE, nullptr, 0,
                                                  room.data(), &size));
    EXPECT_EQ(size, 64U);
    EXPECT_TRUE(CPSignHash(context_.Get(), hash, AT_SIGNATURE, nullptr, 0, nullptr, &size));
    const BYTE rest[] = {'a', 'g', 'e'};
    EXPECT_TRUE(CPHashData(context_.Get(), hash, rest, 3, 0));
    const Bytes signature = context_.Sign(hash, AT_SIGNATURE);
    EXPECT_TRUE(context_.Verify(context_.HashOf(0x8021, "message"), signature,
                                context_.UserKey(AT_SIGNATURE)));
    EXPECT_FAILS_WITH(NTE_BAD_HASH_STATE, CPHashData(context_.Get(), hash, rest, 3, 0));
}

TEST_F(Signature, GivesItsErrorWords) {
    const HCRYPTKEY key = context_.Generate(AT_SIGNATURE);
    const HCRYPTHASH hash = context_.HashOf(0x8021, "message");
    Bytes signature(64);
    DWORD size = 64;
    const auto sign = [&](HCRYPTPROV context, HCRYPTHASH over, DWORD keySpec, const WCHAR* text,
                          DWORD flags, DWORD* length) {
        return CPSignHash(context, over, keySpec, text, flags, signature.data(), length);
    };
    EXPECT_FAILS_WITH(NTE_BAD_UID, sign(0, hash, AT_SIGNATURE, nullptr, 0, &size));
    EXPECT_FAILS_WITH(NTE_BAD_HASH, sign(context_.Get(), key, AT_SIGNATURE, nullptr, 0, &size));
    EXPECT_FAILS_WITH(NTE_NO_KEY, sign(context_.Get(), hash, AT_KEYEXCHANGE, nullptr, 0, &size));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, sign(context_.Get(), hash, 5, nullptr, 0, &size));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, sign(context_.Get(), hash, AT_SIGNATURE, nullptr, 1, &size));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      sign(context_.Get(), hash, AT_SIGNATURE, L"", 0, &size));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      sign(context_.Get(), hash, AT_SIGNATURE, nullptr, 0, nullptr));
    const KeyContext without(nullptr, CRYPT_VERIFYCONTEXT);
    EXPECT_FAILS_WITH(NTE_NO_KEY, sign(without.Get(), without.HashOf(0x8021, "message"),
                                       AT_SIGNATURE, nullptr, 0, &size));
    const auto verify = [&](HCRYPTHASH over, const BYTE* data, HCRYPTKEY with, const WCHAR* text,
                            DWORD flags) {
        return CPVerifySignature(context_.Get(), over, data, 64, with, text, flags);
    };
    const BYTE* const data = signature.data();
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, verify(hash, nullptr, key, nullptr, 0));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, verify(hash, data, key, L"", 0));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, verify(hash, data, key, nullptr, 1));
    EXPECT_FAILS_WITH(NTE_BAD_HASH, verify(0, data, key, nullptr, 0));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, verify(hash, data, 0, nullptr, 0));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, verify(hash, data, context_.SessionKey(), nullptr, 0));
    EXPECT_FAILS_WITH(NTE_BAD_SIGNATURE, verify(hash, data, key, nullptr, 0));
    EXPECT_EQ(signature, Bytes(64));
}

}  // namespace
