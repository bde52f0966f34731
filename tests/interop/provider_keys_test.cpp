// Keys and signatures of the provider and of OpenSSL's GOST engine, made now.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "provider/digest.h"
#include "provider/gost_key.h"
#include "provider/key_info.h"
#include "support/peer_openssl.h"

namespace {

using provider::KeyType;
using provider::SecretBytes;

using Bytes = std::vector<BYTE>;

struct PeerKey {
    ALG_ID algorithm;
    const char* peerAlgorithm;
    const char* peerDigest;
    const char* curve;
    const char* peerCurve;
};

constexpr PeerKey kKeys[] = {
    {0x2E23, "gost2001", "md_gost94", "1.2.643.2.2.35.0", "0"},
    {0x2E23, "gost2001", "md_gost94", "1.2.643.2.2.35.1", "A"},
    {0x2E23, "gost2001", "md_gost94", "1.2.643.2.2.35.2", "B"},
    {0x2E23, "gost2001", "md_gost94", "1.2.643.2.2.35.3", "C"},
    {0x2E23, "gost2001", "md_gost94", "1.2.643.2.2.36.0", "XA"},
    {0x2E23, "gost2001", "md_gost94", "1.2.643.2.2.36.1", "XB"},
    {0x2E49, "gost2012_256", "md_gost12_256", "1.2.643.2.2.35.1", "A"},
    {0x2E49, "gost2012_256", "md_gost12_256", "1.2.643.2.2.36.1", "XB"},
    {0x2E49, "gost2012_256", "md_gost12_256", "1.2.643.7.1.2.1.1.1", "TCA"},
    {0x2E49, "gost2012_256", "md_gost12_256", "1.2.643.7.1.2.1.1.2", "TCB"},
    {0x2E49, "gost2012_256", "md_gost12_256", "1.2.643.7.1.2.1.1.3", "TCC"},
    {0x2E49, "gost2012_256", "md_gost12_256", "1.2.643.7.1.2.1.1.4", "TCD"},
    {0x2E3D, "gost2012_512", "md_gost12_512", "1.2.643.7.1.2.1.2.1", "A"},
    {0x2E3D, "gost2012_512", "md_gost12_512", "1.2.643.7.1.2.1.2.2", "B"},
    {0x2E3D, "gost2012_512", "md_gost12_512", "1.2.643.7.1.2.1.2.3", "C"},
};

const Bytes kMessage(1000, 0x42);

Bytes HashOf(const Bytes& message, ALG_ID algorithm) {
    const provider::DigestAlgorithm& digest = *provider::FindDigest(algorithm);
    provider::DigestState state;
    digest.start(&state);
    digest.update(&state, message.data(), message.size());
    Bytes value(digest.digestSize);
    digest.finish(&state, value.data());
    return value;
}

Bytes Reversed(Bytes octets) {
    std::reverse(octets.begin(), octets.end());
    return octets;
}

class KeyInterop : public testing::TestWithParam<PeerKey> {
  protected:
    void SetUp() override {
        if (peer_.IsMissing()) {
            GTEST_SKIP() << "SKIPPED: OpenSSL with its GOST engine is not installed";
        }
    }
    KeyType Type() const {
        return {provider::FindGostAlgorithm(GetParam().algorithm),
                provider::FindCurveByText(GetParam().curve)};
    }
    void Run(const std::string& arguments) { ASSERT_EQ(peer_.Run(arguments), 0) << peer_.Output(); }

    test_support::PeerOpenssl peer_;
};

TEST_P(KeyInterop, OursAreReadAndTheirSignaturesVerified) {
    const KeyType type = Type();
    const SecretBytes privateKey = provider::GeneratePrivateKey(*type.curve);
    Bytes publicKey;
    ASSERT_EQ(provider::ComputePublicKey(*type.curve, privateKey.View(), &publicKey), S_OK);
    peer_.Write("key", provider::EncodePrivateKeyInfo(type, privateKey.View()).View());
    peer_.Write("public", provider::EncodePublicKeyInfo(type, publicKey));
    Run("pkey -inform DER -in key -outform DER -out key.again");
    KeyType readType;
    SecretBytes readKey;
    ASSERT_EQ(provider::DecodePrivateKeyInfo(peer_.Read("key.again"), &readType, &readKey), S_OK);
    EXPECT_TRUE(std::ranges::equal(readKey.View(), privateKey.View()));
    EXPECT_EQ(readType.curve, type.curve);
    EXPECT_EQ(readType.algorithm, type.algorithm);
    Run("pkey -inform DER -in key -pubout -outform DER -out public.again");
    Run("pkey -pubin -inform DER -in public -pubout -outform DER -out public.third");
    EXPECT_EQ(peer_.Read("public.again"), peer_.Read("public.third"));

    Bytes signature;
    ASSERT_EQ(provider::SignHashValue(*type.curve, privateKey.View(),
                                      HashOf(kMessage, type.algorithm->digest), &signature),
              S_OK);
    peer_.Write("message", kMessage);
    peer_.Write("signature", Reversed(signature));
    Run(std::string("dgst -") + GetParam().peerDigest +
        " -keyform DER -verify public -signature signature message");
}

TEST_P(KeyInterop, TheirsAreReadAndTheirSignaturesVerified) {
    Run(std::string("genpkey -algorithm ") + GetParam().peerAlgorithm +
        " -pkeyopt paramset:" + GetParam().peerCurve + " -outform DER -out key");
    Run("pkey -inform DER -in key -pubout -outform DER -out public");
    KeyType type;
    SecretBytes privateKey;
    ASSERT_EQ(provider::DecodePrivateKeyInfo(peer_.Read("key"), &type, &privateKey), S_OK);
    EXPECT_EQ(type.curve, Type().curve);
    EXPECT_EQ(type.algorithm, Type().algorithm);
    KeyType publicType;
    Bytes publicKey;
    ASSERT_EQ(provider::DecodePublicKeyInfo(peer_.Read("public"), &publicType, &publicKey), S_OK);
    Bytes computed;
    ASSERT_EQ(provider::ComputePublicKey(*type.curve, privateKey.View(), &computed), S_OK);
    EXPECT_EQ(computed, publicKey);
    peer_.Write("message", kMessage);
    Run(std::string("dgst -") + GetParam().peerDigest +
        " -keyform DER -sign key -out signature message");
    const Bytes signature = Reversed(peer_.Read("signature"));
    Bytes hash = HashOf(kMessage, type.algorithm->digest);
    EXPECT_TRUE(provider::VerifyHashValue(*type.curve, publicKey, hash, signature));
    hash[0] ^= 1;
    EXPECT_FALSE(provider::VerifyHashValue(*type.curve, publicKey, hash, signature));
}

std::string NameOf(const testing::TestParamInfo<PeerKey>& key) {
    return std::string(key.param.peerAlgorithm) + "_" + key.param.peerCurve;
}

INSTANTIATE_TEST_SUITE_P(EveryCurve, KeyInterop, testing::ValuesIn(kKeys), NameOf);

}  // namespace
