// What hashes and pads hold of secrets, searched for in all of the process's memory: that of the
// library that computes them is not to be looked into from outside.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "provider/algorithms.h"
#include "provider/digest.h"
#include "provider/hash.h"
#include "provider/hmac.h"
#include "provider/secret_bytes.h"
#include "provider/session_key.h"
#include "support/memory_search.h"

namespace {

using provider::DigestAlgorithm;
using provider::DigestState;
using provider::SecretBytes;
using test_support::Sought;
using Bytes = std::vector<BYTE>;

Bytes RandomBytes(std::size_t size) {
    std::random_device random;
    Bytes bytes(size);
    for (BYTE& octet : bytes) {
        octet = static_cast<BYTE>(random());
    }
    return bytes;
}

// Every octet turned by `mask`.
Bytes Turned(Bytes bytes, BYTE mask) {
    for (BYTE& octet : bytes) {
        octet = static_cast<BYTE>(octet ^ mask);
    }
    return bytes;
}

// What `inverted` has every bit turned of; wiped when it goes.
SecretBytes Plain(const Bytes& inverted) {
    SecretBytes plain(inverted.size());
    for (std::size_t i = 0; i < inverted.size(); ++i) {
        plain.data()[i] = static_cast<BYTE>(~inverted[i]);
    }
    return plain;
}

// What was in `plain`, which is wiped.
Sought SoughtOnceWiped(SecretBytes plain) {
    const auto view = plain.View();
    std::transform(view.begin(), view.end(), view.begin(),
                   [](BYTE octet) { return static_cast<BYTE>(~octet); });
    return Sought({view.begin(), view.end()});
}

class DigestInMemory : public testing::TestWithParam<ALG_ID> {
  protected:
    void Update(DigestState* state, const Bytes& inverted) const {
        const SecretBytes plain = Plain(inverted);
        algorithm_.update(state, plain.data(), plain.size());
    }

    const DigestAlgorithm& algorithm_ = *provider::FindDigest(GetParam());
    // Less than a block, so that it waits for the rest of one.
    const Bytes inverted_ = RandomBytes(24);
    const Sought soughtMessage_{inverted_};
    DigestState state_;
};

TEST_P(DigestInMemory, IsGoneOnceItIsWiped) {
    ASSERT_FALSE(soughtMessage_.IsInMemory());
    algorithm_.start(&state_);
    Update(&state_, inverted_);
    EXPECT_TRUE(soughtMessage_.IsInMemory());
    WipeDigest(algorithm_, &state_);
    EXPECT_FALSE(soughtMessage_.IsInMemory());
}

TEST_P(DigestInMemory, IsGoneWithItsCopiesOnly) {
    algorithm_.start(&state_);
    Update(&state_, inverted_);
    DigestState copy;
    CopyDigest(algorithm_, state_, &copy);
    WipeDigest(algorithm_, &state_);
    EXPECT_TRUE(soughtMessage_.IsInMemory());
    WipeDigest(algorithm_, &copy);
    EXPECT_FALSE(soughtMessage_.IsInMemory());
}

TEST_P(DigestInMemory, IsGoneOnceItWasFinishedAndWiped) {
    algorithm_.start(&state_);
    Update(&state_, inverted_);
    SecretBytes value(algorithm_.digestSize);
    algorithm_.finish(&state_, value.data());
    WipeFinishedDigest(algorithm_, &state_);
    EXPECT_FALSE(soughtMessage_.IsInMemory());
    EXPECT_FALSE(SoughtOnceWiped(std::move(value)).IsInMemory());
}

// The key of an HMAC and the blocks that its two hashes take of it.
struct KeyOfPads {
    explicit KeyOfPads(const Bytes& inverted)
        : key(inverted), inner(Turned(inverted, 0x36)), outer(Turned(inverted, 0x5C)) {}

    Sought key;
    Sought inner;
    Sought outer;
};

class KeyInMemory : public DigestInMemory {
  protected:
    // The hashes of GOST keep the sum of their blocks, which after one is that block.
    bool ShowsItsFirstBlock() const { return GetParam() != CALG_SHA1; }
    void ExpectPads(bool isThere) const {
        EXPECT_EQ(soughtKey_.inner.IsInMemory(), isThere);
        EXPECT_EQ(soughtKey_.outer.IsInMemory(), isThere);
    }

    const Bytes invertedKey_ = RandomBytes(32);
    const KeyOfPads soughtKey_{invertedKey_};
};

TEST_P(KeyInMemory, IsGoneWithItsPads) {
    provider::HmacPads pads;
    {
        const SecretBytes key = Plain(invertedKey_);
        ComputeHmacPads(algorithm_, key.View(), &pads);
    }
    EXPECT_FALSE(soughtKey_.key.IsInMemory());
    ExpectPads(ShowsItsFirstBlock());
    WipeHmacPads(&pads);
    ExpectPads(false);
}

TEST_P(KeyInMemory, IsGoneWithItsHashes) {
    for (const bool isFinished : {false, true}) {
        provider::Hash hash{};
        hash.StartKeyed(1);
        {
            const SecretBytes key = Plain(invertedKey_);
            provider::HmacPads pads;
            ComputeHmacPads(algorithm_, key.View(), &pads);
            hash.SetPads(pads);
            WipeHmacPads(&pads);
        }
        ExpectPads(ShowsItsFirstBlock());
        {
            const SecretBytes message = Plain(inverted_);
            EXPECT_EQ(hash.Update(message.data(), static_cast<DWORD>(message.size())), S_OK);
        }
        SecretBytes value(algorithm_.digestSize);
        if (isFinished) {
            auto size = static_cast<DWORD>(value.size());
            EXPECT_EQ(hash.GetParameter(HP_HASHVAL, value.data(), &size), S_OK);
        }
        EXPECT_EQ(soughtMessage_.IsInMemory(), !isFinished);
        hash.WipeSecrets();
        ExpectPads(false);
        EXPECT_FALSE(soughtMessage_.IsInMemory());
        if (isFinished) {
            EXPECT_FALSE(SoughtOnceWiped(std::move(value)).IsInMemory());
        }
    }
}

TEST_P(KeyInMemory, IsGoneWithItsSessionKey) {
    provider::SessionKey key{};
    key.Generate(0);
    {
        const SecretBytes value = Plain(invertedKey_);
        ASSERT_EQ(key.SetParameter(KP_KEYVAL, value.data()), S_OK);
    }
    key.PadsFor(algorithm_);
    EXPECT_TRUE(soughtKey_.key.IsInMemory());
    ExpectPads(ShowsItsFirstBlock());
    key.WipeSecrets();
    EXPECT_FALSE(soughtKey_.key.IsInMemory());
    ExpectPads(false);
}

const auto everyAlgorithm = testing::Values(provider::kGostR3411_94, provider::kGostR3411_2012_256,
                                            provider::kGostR3411_2012_512, ALG_ID{CALG_SHA1});
INSTANTIATE_TEST_SUITE_P(EveryAlgorithm, DigestInMemory, everyAlgorithm);
INSTANTIATE_TEST_SUITE_P(EveryAlgorithm, KeyInMemory, everyAlgorithm);

}  // namespace
