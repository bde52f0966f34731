#include "provider/key_info.h"

#include <gcrypt.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "provider/der.h"
#include "provider/gost_key.h"
#include "support/hex.h"
#include "support/key_vectors.h"

namespace {

using provider::DerElement;
using provider::FindCurveByText;
using provider::FindGostAlgorithm;
using provider::KeyType;
using provider::SecretBytes;
using test_support::FromHex;
using test_support::KeyVector;
using test_support::ToHex;

using Bytes = std::vector<BYTE>;

Bytes ToBytes(const SecretBytes& secret) {
    return {secret.View().begin(), secret.View().end()};
}

// The element around the octets.
Bytes Wrap(BYTE tag, const Bytes& content) {
    return ToBytes(DerElement(tag, {content}));
}

Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Bytes Reversed(Bytes octets) {
    std::reverse(octets.begin(), octets.end());
    return octets;
}

const Bytes kVersion0 = FromHex("020100");
// GOST R 34.10-2012 with 256 bits on CryptoPro A.
const Bytes kAlgorithm = FromHex(
    "301f06082a85030701010101301306072a850302022301"
    "06082a85030701010202");
const Bytes kKey = FromHex("1619cdd06a9b2aad7bc43e853016edf3c96c73716db507e2c48ea53e9efab262");

Bytes Info(const Bytes& keyContent) {
    return Wrap(0x30, Join({kVersion0, kAlgorithm, Wrap(0x04, keyContent)}));
}

struct Decoded {
    HRESULT status;
    KeyType type;
    Bytes key;
};

Decoded Decode(const Bytes& info) {
    Decoded decoded{};
    SecretBytes key;
    decoded.status = provider::DecodePrivateKeyInfo(info, &decoded.type, &key);
    decoded.key = ToBytes(key);
    return decoded;
}

void ExpectRefused(const Bytes& info, const std::string& what) {
    EXPECT_EQ(Decode(info).status, NTE_BAD_DATA) << what;
}

void ExpectKey(const Bytes& info, const std::string& what) {
    const Decoded decoded = Decode(info);
    EXPECT_EQ(decoded.status, S_OK) << what;
    EXPECT_EQ(ToHex(decoded.key), ToHex(kKey)) << what;
}

// The engine names a digest beside two of the curves with 512 bits. RFC 9215 leaves it out there.
bool IsWrittenOtherwiseByThePeer(const KeyVector& vector) {
    return vector.algorithm == "gost2012_512" && vector.curve != "C";
}

TEST(PrivateKeyInfo, OfThePeerIsReadAndWritten) {
    const std::vector<KeyVector> vectors = test_support::ReadKeyVectors();
    ASSERT_EQ(vectors.size(), 19U);
    for (const KeyVector& vector : vectors) {
        SCOPED_TRACE(vector.algorithm + " " + vector.curve);
        const Decoded decoded = Decode(vector.privateKeyInfo);
        ASSERT_EQ(decoded.status, S_OK);
        Bytes expected = vector.privateKey;
        expected.resize(decoded.type.curve->size);
        EXPECT_EQ(ToHex(decoded.key), ToHex(expected));
        EXPECT_EQ(decoded.type.algorithm->id, vector.algorithm == "gost2001"       ? 0x2E23U
                                              : vector.algorithm == "gost2012_256" ? 0x2E49U
                                                                                   : 0x2E3DU);
        Bytes publicKey;
        ASSERT_EQ(provider::ComputePublicKey(*decoded.type.curve, decoded.key, &publicKey), S_OK);
        KeyType publicType;
        Bytes peersPublicKey;
        ASSERT_EQ(provider::DecodePublicKeyInfo(vector.publicKeyInfo, &publicType, &peersPublicKey),
                  S_OK);
        EXPECT_EQ(publicType.curve, decoded.type.curve);
        EXPECT_EQ(publicType.algorithm, decoded.type.algorithm);
        EXPECT_EQ(ToHex(publicKey), ToHex(peersPublicKey));
        if (!IsWrittenOtherwiseByThePeer(vector)) {
            EXPECT_EQ(ToHex(provider::EncodePrivateKeyInfo(decoded.type, decoded.key).View()),
                      ToHex(vector.privateKeyInfo));
            EXPECT_EQ(ToHex(provider::EncodePublicKeyInfo(decoded.type, publicKey)),
                      ToHex(vector.publicKeyInfo));
        }
    }
}

TEST(PrivateKeyInfo, ComesBackForEveryAlgorithmAndCurve) {
    for (const ALG_ID id : {0x2E23U, 0xAA24U, 0x2E49U, 0x2E3DU}) {
        for (const provider::GostCurve& curve : provider::GostCurves()) {
            const KeyType type{FindGostAlgorithm(id), &curve};
            if (!type.algorithm->Takes(curve)) {
                continue;
            }
            SCOPED_TRACE(std::to_string(id) + " " + curve.oid.Text());
            const SecretBytes key = provider::GeneratePrivateKey(curve);
            const Decoded decoded =
                Decode(ToBytes(provider::EncodePrivateKeyInfo(type, key.View())));
            EXPECT_EQ(decoded.status, S_OK);
            EXPECT_EQ(decoded.key, ToBytes(key));
            EXPECT_EQ(decoded.type.algorithm, type.algorithm);
            EXPECT_EQ(decoded.type.curve, &curve);
            Bytes publicKey;
            ASSERT_EQ(provider::ComputePublicKey(curve, key.View(), &publicKey), S_OK);
            KeyType publicType;
            Bytes readBack;
            EXPECT_EQ(provider::DecodePublicKeyInfo(provider::EncodePublicKeyInfo(type, publicKey),
                                                    &publicType, &readBack),
                      S_OK);
            EXPECT_EQ(readBack, publicKey);
            EXPECT_EQ(publicType.algorithm, type.algorithm);
        }
    }
}

TEST(PrivateKeyInfo, HoldsTheKeyRawOrInAFurtherElement) {
    ExpectKey(Info(kKey), "raw");
    ExpectKey(Info(Wrap(0x04, kKey)), "OCTET STRING");
    // Its most significant octet is 0x62.
    ExpectKey(Info(Wrap(0x02, Reversed(kKey))), "INTEGER");
    Bytes large = kKey;
    large.back() = 0xF2;
    const Decoded decoded = Decode(Info(Wrap(0x02, Join({{0}, Reversed(large)}))));
    EXPECT_EQ(decoded.status, S_OK);
    EXPECT_EQ(ToHex(decoded.key), ToHex(large));
    Bytes seven(32);
    seven[0] = 7;
    EXPECT_EQ(Decode(Info(FromHex("020107"))).key, seven);
}

TEST(PrivateKeyInfo, HoldsTheKeyMasked) {
    // The order of CryptoPro A, as RFC 4357 prints it.
    gcry_mpi_t order = nullptr;
    const Bytes orderOctets =
        FromHex("ffffffffffffffffffffffffffffffff6c611070995ad10045841b09b761b893");
    ASSERT_EQ(gcry_mpi_scan(&order, GCRYMPI_FMT_USG, orderOctets.data(), 32, nullptr), 0U);
    Bytes content;
    gcry_mpi_t masked = nullptr;
    ASSERT_EQ(gcry_mpi_scan(&masked, GCRYMPI_FMT_USG, Reversed(kKey).data(), 32, nullptr), 0U);
    for (int masks = 1; masks <= 5; ++masks) {
        // Divides by one mask more; the masks stand behind the masked key.
        const Bytes maskOctets(32, static_cast<BYTE>(0x35 + masks * 23));
        gcry_mpi_t mask = nullptr;
        ASSERT_EQ(gcry_mpi_scan(&mask, GCRYMPI_FMT_USG, maskOctets.data(), 32, nullptr), 0U);
        gcry_mpi_invm(mask, mask, order);
        gcry_mpi_mulm(masked, masked, mask, order);
        gcry_mpi_release(mask);
        content.insert(content.end(), maskOctets.begin(), maskOctets.end());
        Bytes number(32);
        std::size_t size = 0;
        ASSERT_EQ(gcry_mpi_print(GCRYMPI_FMT_USG, number.data(), 32, &size, masked), 0U);
        number.resize(size);
        number = Reversed(number);
        number.resize(32);
        ExpectKey(Info(Join({number, content})), std::to_string(masks) + " masks");
    }
    gcry_mpi_release(masked);
    gcry_mpi_release(order);
    ExpectRefused(Info(Join({kKey, Bytes(32)})), "a mask of zero");
    ExpectRefused(Info(Join({Reversed(orderOctets), kKey})), "the order, masked");
}

TEST(PrivateKeyInfo, IsReadUnderEveryIdentifierOfItsAlgorithm) {
    const struct {
        std::string oid;
        ALG_ID algorithm;
    } kForms[] = {
        {"06062a8503020213", 0x2E23},     {"06062a8503020262", 0xAA24},
        {"06082a85030701010101", 0x2E49}, {"06082a85030701010601", 0x2E49},
        {"06082a85030701010102", 0x2E3D}, {"06082a85030701010602", 0x2E3D},
    };
    for (const auto& form : kForms) {
        const bool isLarge = form.algorithm == 0x2E3D;
        const std::string curve = isLarge ? "06092a8503070102010201" : "06072a850302022301";
        const Bytes algorithm = Wrap(0x30, FromHex(form.oid + (isLarge ? "300b" : "3009") + curve));
        const Bytes key = isLarge ? Join({kKey, kKey}) : kKey;
        const Decoded decoded = Decode(Wrap(0x30, Join({kVersion0, algorithm, Wrap(0x04, key)})));
        ASSERT_EQ(decoded.status, S_OK) << form.oid;
        EXPECT_EQ(decoded.type.algorithm->id, form.algorithm);
        EXPECT_EQ(decoded.key, key);
    }
}

TEST(PrivateKeyInfo, MayHaveAttributesAndAPublicKey) {
    const Bytes key = Wrap(0x04, kKey);
    const Bytes attributes = Wrap(0xA0, FromHex("300d0603551d0f3106030407800080"));
    const Bytes publicKey = Wrap(0x81, Bytes(65));
    const Bytes version1 = FromHex("020101");
    ExpectKey(Wrap(0x30, Join({kVersion0, kAlgorithm, key, attributes})), "attributes");
    ExpectKey(Wrap(0x30, Join({version1, kAlgorithm, key})), "version 1");
    ExpectKey(Wrap(0x30, Join({version1, kAlgorithm, key, publicKey})), "public key");
    ExpectKey(Wrap(0x30, Join({version1, kAlgorithm, key, attributes, publicKey})), "both");
    ExpectRefused(Wrap(0x30, Join({kVersion0, kAlgorithm, key, publicKey})), "a key of version 1");
    ExpectRefused(Wrap(0x30, Join({version1, kAlgorithm, key, publicKey, attributes})), "order");
    ExpectRefused(Wrap(0x30, Join({version1, kAlgorithm, key, attributes, attributes})), "twice");
    ExpectRefused(Wrap(0x30, Join({kVersion0, kAlgorithm, key, FromHex("0500")})), "a NULL");
}

TEST(PrivateKeyInfo, RefusesKeysOutsideTheirGroup) {
    Bytes order =
        Reversed(FromHex("ffffffffffffffffffffffffffffffff6c611070995ad10045841b09b761b893"));
    ExpectRefused(Info(order), "the order");
    ExpectRefused(Info(Wrap(0x04, order)), "the order inside");
    ExpectRefused(Info(Wrap(0x02, Join({{0}, Reversed(order)}))), "the order as a number");
    order[0] -= 1;
    EXPECT_EQ(Decode(Info(order)).status, S_OK);
    ExpectRefused(Info(Bytes(32)), "zero");
    ExpectRefused(Info(Wrap(0x04, Bytes(32))), "zero inside");
    ExpectRefused(Info(FromHex("020100")), "the number zero");
}

TEST(PrivateKeyInfo, RefusesOtherForms) {
    ExpectRefused({}, "nothing");
    ExpectRefused(Info({}), "no key");
    ExpectRefused(Info(Bytes(31, 1)), "one octet short");
    ExpectRefused(Info(Bytes(33, 1)), "one octet long");
    ExpectRefused(Info(Wrap(0x04, Bytes(31, 1))), "short inside");
    ExpectRefused(Info(Wrap(0x04, Bytes(64, 1))), "long inside");
    ExpectRefused(Info(Wrap(0x03, kKey)), "a BIT STRING inside");
    ExpectRefused(Info(FromHex("0200")), "an empty number");
    ExpectRefused(Info(FromHex("020181")), "a negative number");
    ExpectRefused(Info(FromHex("02020007")), "a number with a zero too many");
    ExpectRefused(Info(Wrap(0x02, Bytes(33, 1))), "a number too long");
    ExpectRefused(Info(Join({FromHex("020107"), FromHex("0500")})), "something behind the number");
    const Bytes key = Wrap(0x04, kKey);
    ExpectRefused(Wrap(0x30, Join({FromHex("020102"), kAlgorithm, key})), "version 2");
    ExpectRefused(Wrap(0x30, Join({FromHex("02020000"), kAlgorithm, key})), "a long version");
    ExpectRefused(Wrap(0x30, Join({kAlgorithm, key})), "no version");
    ExpectRefused(Wrap(0x30, Join({kVersion0, key})), "no algorithm");
    ExpectRefused(Wrap(0x30, Join({kVersion0, kAlgorithm})), "no key field");
    ExpectRefused(Join({Info(kKey), {0}}), "something behind it");
    ExpectRefused(Wrap(0x31, Join({kVersion0, kAlgorithm, key})), "a SET");
    const auto withAlgorithm = [&key](const std::string& hex) {
        return Wrap(0x30, Join({kVersion0, Wrap(0x30, FromHex(hex)), key}));
    };
    const std::string oid = "06082a85030701010101";
    const std::string curve = "06072a850302022301";
    const std::string digest = "06082a85030701010202";
    ExpectKey(withAlgorithm(oid + "3009" + curve), "the curve alone");
    ExpectKey(withAlgorithm(oid + "3012" + curve + curve), "two identifiers");
    ExpectKey(withAlgorithm(oid + "301b" + curve + curve + curve), "three identifiers");
    ExpectRefused(withAlgorithm(oid + "3024" + curve + curve + curve + curve), "four identifiers");
    ExpectRefused(withAlgorithm(oid), "no parameters");
    ExpectRefused(withAlgorithm(oid + "0500"), "NULL for parameters");
    ExpectRefused(withAlgorithm(oid + "3000"), "empty parameters");
    ExpectRefused(withAlgorithm(oid + "300b" + curve + "0500"), "NULL for a digest");
    ExpectRefused(withAlgorithm(oid + "300a" + digest), "a digest for a curve");
    ExpectRefused(withAlgorithm(oid + "300b06092a8503070102010201"), "a curve of 512 bits");
    ExpectRefused(withAlgorithm(oid + "3009" + curve + "0500"), "something behind the parameters");
    ExpectRefused(withAlgorithm("06072a8648ce3d02013009" + curve), "another algorithm");
    ExpectRefused(withAlgorithm("06062a8503020213300b06092a8503070102010101"),
                  "a curve of 2012 for an algorithm of 2001");
}

// No prefix, and nothing with one octet replaced, is read outside its bounds; sanitizers look on.
TEST(PrivateKeyInfo, SurvivesDamage) {
    const Bytes whole = Info(kKey);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Bytes prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        ExpectRefused(prefix, std::to_string(size));
    }
    const std::size_t keyStart = whole.size() - kKey.size();
    for (std::size_t at = 0; at < keyStart; ++at) {
        for (const int octet : {0x00, 0x01, 0x30, 0x7F, 0x80, 0x81, 0x84, 0xFF}) {
            Bytes damaged = whole;
            damaged[at] = static_cast<BYTE>(octet);
            const Decoded decoded = Decode(damaged);
            EXPECT_TRUE(decoded.status == NTE_BAD_DATA || decoded.key == kKey) << at;
        }
    }
}

TEST(PublicKeyInfo, RefusesOtherForms) {
    const KeyVector vector = test_support::ReadKeyVectors().front();
    const auto status = [](const Bytes& info) {
        KeyType type;
        Bytes key;
        return provider::DecodePublicKeyInfo(info, &type, &key);
    };
    ASSERT_EQ(status(vector.publicKeyInfo), S_OK);
    for (std::size_t size = 0; size < vector.publicKeyInfo.size(); ++size) {
        EXPECT_EQ(status(Bytes(vector.publicKeyInfo.begin(),
                               vector.publicKeyInfo.begin() + static_cast<std::ptrdiff_t>(size))),
                  NTE_BAD_DATA);
    }
    Bytes offCurve = vector.publicKeyInfo;
    offCurve.back() ^= 1;
    EXPECT_EQ(status(offCurve), NTE_BAD_DATA);
    EXPECT_EQ(status(Join({vector.publicKeyInfo, {0}})), NTE_BAD_DATA);
    EXPECT_EQ(status(vector.privateKeyInfo), NTE_BAD_DATA);
    EXPECT_EQ(status(Wrap(0x30, Join({kAlgorithm, FromHex("0300")}))), NTE_BAD_DATA);
    EXPECT_EQ(status(Wrap(0x30, Join({kAlgorithm, FromHex("030100")}))), NTE_BAD_DATA);
    EXPECT_EQ(status(Wrap(0x30, Join({kAlgorithm, FromHex("030107")}))), NTE_BAD_DATA);
}

}  // namespace
