#include "provider/gost_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "provider/object_identifier.h"
#include "support/hex.h"

namespace {

using provider::FindCurveByText;
using provider::GostCurve;
using provider::SecretBytes;
using test_support::FromHex;
using test_support::ToHex;

using Bytes = std::vector<BYTE>;

// Standards print numbers with the most significant digit first.
Bytes Number(std::string_view hex) {
    Bytes octets = FromHex(hex);
    std::reverse(octets.begin(), octets.end());
    return octets;
}

Bytes Join(const Bytes& first, const Bytes& second) {
    Bytes all = first;
    all.insert(all.end(), second.begin(), second.end());
    return all;
}

struct Example {
    const char* curve;
    const char* privateKey;
    const char* x;
    const char* y;
    const char* hash;
    const char* r;
    const char* s;
};

// Appendix A of GOST R 34.10-2012, as RFC 7091 prints it.
constexpr Example kExamples[] = {
    {"1.2.643.2.2.35.0", "7a929ade789bb9be10ed359dd39a72c11b60961f49397eee1d19ce9891ec3b28",
     "7f2b49e270db6d90d8595bec458b50c58585ba1d4e9b788f6689dbd8e56fd80b",
     "26f1b489d6701dd185c8413a977b3cbbaf64d1c593d26627dffb101a87ff77da",
     "2dfbc1b372d89a1188c09c52e0eec61fce52032ab1022e8e67ece6672b043ee5",
     "41aa28d2f1ab148280cd9ed56feda41974053554a42767b83ad043fd39dc0493",
     "01456c64ba4642a1653c235a98a60249bcd6d3f746b631df928014f6c5bf9c40"},
    {"1.2.643.7.1.2.1.2.0",
     "0ba6048aadae241ba40936d47756d7c93091a0e8514669700ee7508e508b1020"
     "72e8123b2200a0563322dad2827e2714a2636b7bfd18aadfc62967821fa18dd4",
     "115dc5bc96760c7b48598d8ab9e740d4c4a85a65be33c1815b5c320c854621dd"
     "5a515856d13314af69bc5b924c8b4ddff75c45415c1d9dd9dd33612cd530efe1",
     "37c7c90cd40b0f5621dc3ac1b751cfa0e2634fa0503b3d52639f5d7fb72afd61"
     "ea199441d943ffe7f0c70a2759a3cdb84c114e1f9339fdf27f35eca93677beec",
     "3754f3cfacc9e0615c4f4a7c4d8dab531b09b6f9c170c533a71d147035b0c591"
     "7184ee536593f4414339976c647c5d5a407adedb1d560c4fc6777d2972075b8c",
     "2f86fa60a081091a23dd795e1e3c689ee512a3c82ee0dcc2643c78eea8fcacd3"
     "5492558486b20f1c9ec197c90699850260c93bcbcd9c5c3317e19344e173ae36",
     "1081b394696ffe8e6585e7a9362d26b6325f56778aadbc081c0bfbe933d52ff5"
     "823ce288e8c4f362526080df7f70ce406a6eeb1f56919cb92a9853bde73e5b4a"},
};

class StandardExample : public testing::TestWithParam<Example> {
  protected:
    const GostCurve& Curve() const { return *FindCurveByText(GetParam().curve); }
};

TEST_P(StandardExample, PublicKeyIsThatOfThePrivateOne) {
    Bytes publicKey;
    ASSERT_EQ(provider::ComputePublicKey(Curve(), Number(GetParam().privateKey), &publicKey), S_OK);
    EXPECT_EQ(publicKey, Join(Number(GetParam().x), Number(GetParam().y)));
}

TEST_P(StandardExample, SignatureIsGood) {
    const Bytes publicKey = Join(Number(GetParam().x), Number(GetParam().y));
    const Bytes signature = Join(Number(GetParam().r), Number(GetParam().s));
    const Bytes hash = Number(GetParam().hash);
    EXPECT_TRUE(provider::VerifyHashValue(Curve(), publicKey, hash, signature));
}

INSTANTIATE_TEST_SUITE_P(Gost2012, StandardExample, testing::ValuesIn(kExamples));

class EveryCurve : public testing::TestWithParam<GostCurve> {
  protected:
    Bytes PublicKeyOf(const SecretBytes& privateKey) const {
        Bytes publicKey;
        EXPECT_EQ(provider::ComputePublicKey(GetParam(), privateKey.View(), &publicKey), S_OK);
        return publicKey;
    }
};

TEST_P(EveryCurve, KeysOfItSignAndVerify) {
    const GostCurve& curve = GetParam();
    const SecretBytes privateKey = provider::GeneratePrivateKey(curve);
    ASSERT_EQ(privateKey.size(), curve.size);
    const Bytes publicKey = PublicKeyOf(privateKey);
    EXPECT_TRUE(provider::IsPublicKey(curve, publicKey));
    Bytes hash(curve.size, 0x5A);
    Bytes signature;
    ASSERT_EQ(provider::SignHashValue(curve, privateKey.View(), hash, &signature), S_OK);
    ASSERT_EQ(signature.size(), curve.size * 2);
    EXPECT_TRUE(provider::VerifyHashValue(curve, publicKey, hash, signature));
    const Bytes other = PublicKeyOf(provider::GeneratePrivateKey(curve));
    EXPECT_FALSE(provider::VerifyHashValue(curve, other, hash, signature));
    hash[3] ^= 1;
    EXPECT_FALSE(provider::VerifyHashValue(curve, publicKey, hash, signature));
    hash[3] ^= 1;
    for (const std::size_t at : {std::size_t{0}, curve.size - 1, curve.size, 2 * curve.size - 1}) {
        signature[at] ^= 0x10;
        EXPECT_FALSE(provider::VerifyHashValue(curve, publicKey, hash, signature)) << at;
        signature[at] ^= 0x10;
    }
    signature.pop_back();
    EXPECT_FALSE(provider::VerifyHashValue(curve, publicKey, hash, signature));
}

// Such a hash counts as one.
TEST_P(EveryCurve, HashOfZerosIsSigned) {
    const GostCurve& curve = GetParam();
    const SecretBytes privateKey = provider::GeneratePrivateKey(curve);
    const Bytes hash(curve.size);
    Bytes one(curve.size);
    one[0] = 1;
    Bytes signature;
    ASSERT_EQ(provider::SignHashValue(curve, privateKey.View(), hash, &signature), S_OK);
    EXPECT_TRUE(provider::VerifyHashValue(curve, PublicKeyOf(privateKey), hash, signature));
    EXPECT_TRUE(provider::VerifyHashValue(curve, PublicKeyOf(privateKey), one, signature));
}

TEST_P(EveryCurve, SignaturesOfZerosAndOfOnesAreNone) {
    const GostCurve& curve = GetParam();
    const Bytes publicKey = PublicKeyOf(provider::GeneratePrivateKey(curve));
    const Bytes hash(curve.size, 1);
    for (const BYTE fill : {BYTE{0}, BYTE{0xFF}}) {
        EXPECT_FALSE(
            provider::VerifyHashValue(curve, publicKey, hash, Bytes(curve.size * 2, fill)));
    }
}

TEST_P(EveryCurve, PrivateKeysLieBetweenZeroAndTheOrder) {
    const GostCurve& curve = GetParam();
    Bytes key(curve.size);
    EXPECT_FALSE(provider::IsPrivateKey(curve, key));
    key[0] = 1;
    EXPECT_TRUE(provider::IsPrivateKey(curve, key));
    EXPECT_FALSE(provider::IsPrivateKey(curve, Bytes(curve.size, 0xFF)));
    key.push_back(0);
    EXPECT_FALSE(provider::IsPrivateKey(curve, key));
    EXPECT_FALSE(provider::IsPrivateKey(curve, {}));
}

TEST_P(EveryCurve, PointsBesideItAreNoPublicKeys) {
    const GostCurve& curve = GetParam();
    Bytes publicKey = PublicKeyOf(provider::GeneratePrivateKey(curve));
    publicKey[0] ^= 1;
    EXPECT_FALSE(provider::IsPublicKey(curve, publicKey));
    EXPECT_FALSE(provider::IsPublicKey(curve, Bytes(curve.size * 2)));
    EXPECT_FALSE(provider::IsPublicKey(curve, Bytes(curve.size * 2, 0xFF)));
    EXPECT_FALSE(provider::IsPublicKey(curve, Bytes(curve.size)));
    EXPECT_FALSE(provider::IsPublicKey(curve, {}));
}

std::string CurveName(const testing::TestParamInfo<GostCurve>& curve) {
    std::string name = curve.param.oid.Text();
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Gost, EveryCurve,
                         testing::ValuesIn(provider::GostCurves().begin(),
                                           provider::GostCurves().end()),
                         CurveName);

// The order q of the standard's example curve, which RFC 7091 prints, is the first number too
// large.
TEST(GostKey, EndsBeforeTheOrderOfTheStandardsCurve) {
    const GostCurve& curve = *FindCurveByText("1.2.643.2.2.35.0");
    Bytes order = Number("8000000000000000000000000000000150fe8a1892976154c59cfc193accf5b3");
    EXPECT_FALSE(provider::IsPrivateKey(curve, order));
    order[0] -= 1;
    EXPECT_TRUE(provider::IsPrivateKey(curve, order));
}

TEST(GostKey, IsTheProductOfItsMasksModuloTheOrder) {
    const GostCurve& curve = *FindCurveByText("1.2.643.2.2.35.0");
    Bytes factors = Number("8000000000000000000000000000000150fe8a1892976154c59cfc193accf5b2");
    const auto product = [&] {
        const SecretBytes bytes = provider::MultiplyModuloOrder(curve, factors);
        return Bytes(bytes.View().begin(), bytes.View().end());
    };
    const Bytes minusOne = factors;
    EXPECT_EQ(product(), minusOne);
    factors = Join(factors, minusOne);
    Bytes one(32);
    one[0] = 1;
    EXPECT_EQ(product(), one);
    Bytes seven(32);
    seven[0] = 7;
    factors = Join(factors, seven);
    EXPECT_EQ(product(), seven);
}

TEST(ObjectIdentifier, HasTheOctetsOfDer) {
    constexpr provider::ObjectIdentifier kCurve("1.2.643.2.2.35.1");
    EXPECT_EQ(ToHex(kCurve.Octets()), "2a850302022301");
    constexpr provider::ObjectIdentifier kData("1.2.840.113549.1.7.1");
    EXPECT_EQ(ToHex(kData.Octets()), "2a864886f70d010701");
    EXPECT_TRUE(kCurve.Is(FromHex("2a850302022301")));
    EXPECT_FALSE(kCurve.Is(FromHex("2a8503020223")));
    EXPECT_FALSE(kCurve.Is({}));
}

}  // namespace
