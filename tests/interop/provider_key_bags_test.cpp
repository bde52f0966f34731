// Key bags of documents that other programs made, taken in as they stand, against what OpenSSL's
// GOST engine reads from the same documents.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "provider/algorithms.h"
#include "provider/der.h"
#include "provider/key_info.h"
#include "support/key_context.h"
#include "support/peer_openssl.h"
#include "support/reference_crypto.h"

namespace {

using provider::DerReader;
using provider::KeyType;
using provider::SecretBytes;
using test_support::ContainerHome;
using test_support::KeyContext;
using Bytes = std::vector<BYTE>;
using Octets = std::span<const BYTE>;

struct Bag {
    Bytes salt;
    unsigned iterations = 0;
    Bytes vector;
    Bytes encryptedKey;
};

Bytes ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Bytes ToBytes(Octets octets) {
    return {octets.begin(), octets.end()};
}

// The content of the first element of a SEQUENCE's content with that tag, the elements before it
// passed over.
Octets Find(Octets content, BYTE tag) {
    DerReader reader(content);
    Octets found;
    for (const BYTE before : {BYTE{0x06}, BYTE{0x30}, BYTE{0x04}}) {
        if (before != tag && reader.NextIs(before)) {
            EXPECT_TRUE(reader.Read(before, &found));
        }
    }
    EXPECT_TRUE(reader.Read(tag, &found));
    return found;
}

Bag ReadBag(const std::string& path) {
    const Bytes file = ReadFile(path);
    Octets bag;
    DerReader outer(file);
    EXPECT_TRUE(outer.Read(0x30, &bag));
    const Octets info = Find(Find(bag, 0xA0), 0x30);
    const Octets scheme = Find(Find(info, 0x30), 0x30);
    DerReader parts(scheme);
    Octets derivation;
    Octets cipher;
    EXPECT_TRUE(parts.Read(0x30, &derivation) && parts.Read(0x30, &cipher));
    DerReader parameters(Find(derivation, 0x30));
    Octets salt;
    Octets count;
    EXPECT_TRUE(parameters.Read(0x04, &salt) && parameters.Read(0x02, &count));
    Bag read;
    read.salt = ToBytes(salt);
    for (const BYTE octet : count) {
        read.iterations = read.iterations << 8 | octet;
    }
    read.vector = ToBytes(Find(Find(cipher, 0x30), 0x04));
    read.encryptedKey = ToBytes(Find(info, 0x04));
    return read;
}

class KeyBagInterop : public testing::TestWithParam<std::string> {};

TEST_P(KeyBagInterop, HoldsTheKeyThatThePeerReads) {
    test_support::PeerOpenssl peer;
    if (peer.IsMissing()) {
        GTEST_SKIP() << "SKIPPED: OpenSSL with its GOST engine is not installed";
    }
    const std::string data = MVLPFX_TEST_DATA;
    ASSERT_EQ(peer.Run("pkcs12 -in '" + data + "/documents/" + GetParam() +
                       ".pfx' -passin pass:secret -nocerts -nodes -out key.pem"),
              0)
        << peer.Output();
    ASSERT_EQ(peer.Run("pkey -in key.pem -outform DER -out key.der"), 0) << peer.Output();
    KeyType peersType;
    SecretBytes peersKey;
    ASSERT_EQ(provider::DecodePrivateKeyInfo(peer.Read("key.der"), &peersType, &peersKey), S_OK);

    // Both programs derive by HMAC over GOST R 34.11-2012 with 512 bits, and encrypt with TC26's
    // set.
    const Bag bag = ReadBag(data + "/bags/" + GetParam() + ".keybag1.der");
    const Bytes value = test_support::ReferencePbkdf2(provider::kGostR3411_2012_512, "secret",
                                                      bag.salt, bag.iterations, 32);
    ContainerHome home;
    const KeyContext context("mine", CRYPT_NEWKEYSET);
    const HCRYPTKEY session = context.SessionKey();
    ASSERT_TRUE(CPSetKeyParam(context.Get(), session, KP_KEYVAL, value.data(), 0));
    ASSERT_TRUE(CPSetKeyParam(context.Get(), session, KP_IV, bag.vector.data(), 0));
    ASSERT_TRUE(CPSetKeyParam(context.Get(), session, provider::kCipherOidParameter,
                              reinterpret_cast<const BYTE*>("1.2.643.7.1.2.5.1.1"), 0));
    Bytes blob = bag.encryptedKey;
    blob.insert(blob.begin(), {7, 0x11, 0, 0, 0, 0, 0, 0});
    const HCRYPTKEY key = context.Import(blob, session, CRYPT_EXPORTABLE);

    KeyType type;
    SecretBytes privateKey;
    const Bytes info = context.UnwrapKey(context.ExportPrivate(key, session), session);
    ASSERT_EQ(provider::DecodePrivateKeyInfo(info, &type, &privateKey), S_OK);
    EXPECT_EQ(type.algorithm, peersType.algorithm);
    EXPECT_EQ(type.curve, peersType.curve);
    EXPECT_EQ(ToBytes(privateKey.View()), ToBytes(peersKey.View()));
}

std::string NameOf(const testing::TestParamInfo<std::string>& document) {
    return document.param;
}

INSTANTIATE_TEST_SUITE_P(EveryPeer, KeyBagInterop,
                         testing::Values("openssl_gost2001", "openssl_gost2012_256",
                                         "openssl_gost2012_512", "certtool_gost12_256"),
                         NameOf);

}  // namespace
