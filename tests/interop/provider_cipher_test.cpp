// Cipher texts of the provider and of OpenSSL's GOST engine, made now from random texts.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "csp.h"
#include "provider/algorithms.h"
#include "support/hex.h"
#include "support/peer_openssl.h"

namespace {

using Bytes = std::vector<BYTE>;

struct ParameterSet {
    const char* oid;
    const char* peerName;
};

constexpr ParameterSet kParameterSets[] = {
    {"1.2.643.2.2.31.1", "id-Gost28147-89-CryptoPro-A-ParamSet"},
    {"1.2.643.2.2.31.2", "id-Gost28147-89-CryptoPro-B-ParamSet"},
    {"1.2.643.2.2.31.3", "id-Gost28147-89-CryptoPro-C-ParamSet"},
    {"1.2.643.2.2.31.4", "id-Gost28147-89-CryptoPro-D-ParamSet"},
    {"1.2.643.7.1.2.5.1.1", "id-tc26-gost-28147-param-Z"},
};

class CipherInterop : public testing::TestWithParam<ParameterSet> {};

TEST_P(CipherInterop, TextsGoBothWays) {
    test_support::PeerOpenssl peer;
    if (peer.IsMissing()) {
        GTEST_SKIP() << "SKIPPED: OpenSSL with its GOST engine is not installed";
    }
    peer.UseCipherParameters(GetParam().peerName);
    std::random_device random;
    const auto randomBytes = [&random](std::size_t size) {
        Bytes bytes(size);
        for (BYTE& octet : bytes) {
            octet = static_cast<BYTE>(random());
        }
        return bytes;
    };
    VTableProvStruc caller{};
    HCRYPTPROV context = 0;
    HCRYPTKEY key = 0;
    ASSERT_TRUE(CPAcquireContext(&context, nullptr, CRYPT_VERIFYCONTEXT, &caller));
    ASSERT_TRUE(CPGenKey(context, provider::kGost28147, 0, &key));
    const Bytes value = randomBytes(32);
    const Bytes vector = randomBytes(8);
    ASSERT_TRUE(CPSetKeyParam(context, key, KP_KEYVAL, value.data(), 0));
    ASSERT_TRUE(CPSetKeyParam(context, key, KP_IV, vector.data(), 0));
    ASSERT_TRUE(CPSetKeyParam(context, key, provider::kCipherOidParameter,
                              reinterpret_cast<const BYTE*>(GetParam().oid), 0));
    const std::string options =
        "-nopad -K " + test_support::ToHex(value) + " -iv " + test_support::ToHex(vector);
    for (const std::size_t size : {0U, 1U, 7U, 8U, 9U, 1023U, 1024U, 1025U, 100000U}) {
        const Bytes plain = randomBytes(size);
        peer.Write("plain", plain);
        ASSERT_EQ(peer.Run("enc -gost89 " + options + " -in plain -out cipher"), 0)
            << peer.Output();
        Bytes text = peer.Read("cipher");
        DWORD length = static_cast<DWORD>(text.size());
        ASSERT_EQ(length, size);
        ASSERT_TRUE(CPDecrypt(context, key, 0, TRUE, 0, text.data(), &length));
        EXPECT_EQ(text, plain) << size;
        ASSERT_TRUE(CPEncrypt(context, key, 0, TRUE, 0, text.data(), &length, length));
        peer.Write("ours", text);
        ASSERT_EQ(peer.Run("enc -d -gost89 " + options + " -in ours -out decrypted"), 0)
            << peer.Output();
        EXPECT_EQ(peer.Read("decrypted"), plain) << size;
    }
    EXPECT_TRUE(CPReleaseContext(context, 0));
}

std::string NameOf(const testing::TestParamInfo<ParameterSet>& set) {
    std::string name = set.param.oid;
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(EverySet, CipherInterop, testing::ValuesIn(kParameterSets), NameOf);

}  // namespace
