#include "pfxexport/key_safe_bag.h"

#include <gtest/gtest.h>

#include "support/der_outline.h"
#include "support/export_fixture.h"
#include "support/pfx_builder.h"

namespace {

using pkisdk::Blob;
using pkisdk::BuildKeySafeBag;
using test_support::Bytes;
using test_support::Element;
using test_support::Join;
using test_support::kInjected;

const Bytes kSalt(32, 0x51);
const Bytes kVector = {0xA1, 2, 3, 4, 5, 6, 7, 8};
const Bytes kWrapped = {0xEE, 0xDD, 0xCC};

Blob ToBlob(const Bytes& bytes) {
    return Blob(bytes.data(), bytes.size());
}

// PBES2 with these parameters, written out.
Bytes Scheme(const Bytes& prf, const Bytes& cipherParameters, const Bytes& iterations) {
    const Bytes derivation = Element(0x30, Join({Element(0x04, kSalt), Element(0x02, iterations),
                                                 Element(0x30, Join({prf, Element(0x05, {})}))}));
    const Bytes cipher = Element(0x30, Join({Element(0x04, kVector), cipherParameters}));
    const Bytes pbkdf2 =
        Element(0x30, Join({outline::FromHex("06 09 2A 86 48 86 F7 0D 01 05 0C"), derivation}));
    const Bytes gost = Element(0x30, Join({outline::FromHex("06 06 2A 85 03 02 02 15"), cipher}));
    return Element(0x30, Join({outline::FromHex("06 09 2A 86 48 86 F7 0D 01 05 0D"),
                               Element(0x30, Join({pbkdf2, gost}))}));
}

Bytes Scheme94() {
    return Scheme(outline::FromHex("06 06 2A 85 03 02 02 0A"),
                  outline::FromHex("06 07 2A 85 03 02 02 1F 01"), {0x07, 0xD0});
}

Bytes Scheme2012() {
    return Scheme(outline::FromHex("06 08 2A 85 03 07 01 01 04 02"),
                  outline::FromHex("06 09 2A 85 03 07 01 02 05 01 01"), {0x07, 0xD0});
}

Bytes Bag(const Bytes& scheme, const Bytes& attributes) {
    const Bytes info = Element(0x30, Join({scheme, Element(0x04, kWrapped)}));
    return Element(0x30, Join({outline::FromHex("06 0B 2A 86 48 86 F7 0D 01 0C 0A 01 02"),
                               Element(0xA0, info), Element(0x31, attributes)}));
}

Bytes Attribute(const char* oid, const Bytes& value) {
    return Element(0x30, Join({outline::FromHex(oid), Element(0x31, value)}));
}

Bytes LocalKeyId(const Bytes& index) {
    return Attribute("06 09 2A 86 48 86 F7 0D 01 09 15", Element(0x04, index));
}

Bytes ProviderName(const std::string& name) {
    return Attribute("06 09 2B 06 01 04 01 82 37 11 01",
                     Element(0x13, Bytes(name.begin(), name.end())));
}

Bytes FriendlyName(const std::string& name) {
    return Attribute("06 09 2A 86 48 86 F7 0D 01 09 14",
                     Element(0x13, Bytes(name.begin(), name.end())));
}

class BuildKeySafeBagTest : public test_support::ExportTest {
  protected:
    int Build() {
        SetLastError(kInjected);
        return BuildKeySafeBag(&bag_, index_, ToBlob(kWrapped), ToBlob(kSalt), ToBlob(kVector),
                               hasInfo_ ? &info_ : nullptr, friendlyName_, keyAlgorithm_, hash_,
                               flags_, Blob(), iterations_);
    }
    void ExpectBag(const Bytes& expected) {
        EXPECT_EQ(Build(), 1);
        EXPECT_EQ(GetLastError(), 0u);
        EXPECT_EQ(outline::ToHex(bag_), outline::ToHex(ToBlob(expected)));
    }

    Blob bag_;
    std::uint32_t index_ = 1;
    std::wstring provider_ = L"Provider";
    CRYPT_KEY_PROV_INFO info_{nullptr, provider_.data(), 2, 0, 0, nullptr, AT_KEYEXCHANGE};
    bool hasInfo_ = true;
    std::string friendlyName_ = "name";
    ALG_ID keyAlgorithm_ = 26142;
    ALG_ID hash_ = 32798;
    DWORD flags_ = 0;
    std::uint32_t iterations_ = 2000;
};

TEST_F(BuildKeySafeBagTest, WithoutTheFlagTheBagBearsTheLocalKeyIdAlone) {
    ExpectBag(Bag(Scheme94(), LocalKeyId({1, 0, 0, 0})));
    flags_ = ~DWORD{0x10};
    ExpectBag(Bag(Scheme94(), LocalKeyId({1, 0, 0, 0})));
}

TEST_F(BuildKeySafeBagTest, TheHashChoosesFunctionAndParameters) {
    for (const ALG_ID hash : {32801U, 32802U}) {
        hash_ = hash;
        ExpectBag(Bag(Scheme2012(), LocalKeyId({1, 0, 0, 0})));
    }
}

TEST_F(BuildKeySafeBagTest, WithTheFlagItBearsBothNames) {
    flags_ = 0x10;
    ExpectBag(Bag(Scheme94(), Join({LocalKeyId({1, 0, 0, 0}), ProviderName("Provider"),
                                    FriendlyName("name")})));
}

TEST_F(BuildKeySafeBagTest, WithTheFlagAndNoProviderNameItBearsTheFriendlyName) {
    flags_ = 0x10;
    info_.pwszProvName = nullptr;
    ExpectBag(Bag(Scheme94(), Join({LocalKeyId({1, 0, 0, 0}), FriendlyName("name")})));
}

TEST_F(BuildKeySafeBagTest, WithTheFlagAndNoRecordItBearsNoNames) {
    flags_ = 0x10;
    hasInfo_ = false;
    ExpectBag(Bag(Scheme94(), LocalKeyId({1, 0, 0, 0})));
}

TEST_F(BuildKeySafeBagTest, AnEmptyFriendlyNameIsAStringOfLengthZero) {
    flags_ = 0x10;
    friendlyName_.clear();
    ExpectBag(Bag(Scheme94(), Join({LocalKeyId({1, 0, 0, 0}), ProviderName("Provider"),
                                    Attribute("06 09 2A 86 48 86 F7 0D 01 09 14", {0x13, 0})})));
}

TEST_F(BuildKeySafeBagTest, NamesOutsideAsciiAreInTheUsersLocale) {
    flags_ = 0x10;
    provider_ = L"Поставщик";
    info_.pwszProvName = provider_.data();
    friendlyName_ = "Ключ";
    ExpectBag(Bag(Scheme94(), Join({LocalKeyId({1, 0, 0, 0}), ProviderName("Поставщик"),
                                    FriendlyName("Ключ")})));
}

TEST_F(BuildKeySafeBagTest, TheIndexTakesFourOctetsLeastSignificantFirst) {
    index_ = 0x01020304;
    ExpectBag(Bag(Scheme94(), LocalKeyId({4, 3, 2, 1})));
}

TEST_F(BuildKeySafeBagTest, AnIndexOfZeroGivesNoLocalKeyId) {
    index_ = 0;
    ExpectBag(Bag(Scheme94(), {}));
}

TEST_F(BuildKeySafeBagTest, TheKeyAlgorithmCountsForNothing) {
    keyAlgorithm_ = 0x6610;
    ExpectBag(Bag(Scheme94(), LocalKeyId({1, 0, 0, 0})));
}

TEST_F(BuildKeySafeBagTest, TheIterationsAreWrittenAsTheyAre) {
    iterations_ = 5;
    ExpectBag(Bag(Scheme(outline::FromHex("06 06 2A 85 03 02 02 0A"),
                         outline::FromHex("06 07 2A 85 03 02 02 1F 01"), {5}),
                  LocalKeyId({1, 0, 0, 0})));
}

TEST_F(BuildKeySafeBagTest, AnotherHashIsABadAlgorithm) {
    bag_ = ToBlob({1});
    for (const ALG_ID hash : {0U, 32772U, 32799U}) {
        hash_ = hash;
        EXPECT_FAILS_WITH(NTE_BAD_ALGID, Build());
        EXPECT_TRUE(bag_.IsEmpty());
    }
}

TEST_F(BuildKeySafeBagTest, ACipherWithoutOidIsABadAlgorithm) {
    Calls().ReplaceAlgorithmInfo([](ALG_ID, DWORD) -> PCCRYPT_OID_INFO { return nullptr; });
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, Build());
    EXPECT_TRUE(bag_.IsEmpty());
}

TEST_F(BuildKeySafeBagTest, ThePlatformsOidOfTheCipherIsWritten) {
    static CRYPT_OID_INFO row{};
    row.pszOID = "1.2.643.2.2.22";
    Calls().ReplaceAlgorithmInfo([](ALG_ID, DWORD) -> PCCRYPT_OID_INFO { return &row; });
    EXPECT_EQ(Build(), 1);
    EXPECT_NE(outline::ToHex(bag_).find("06 06 2A 85 03 02 02 16"), std::string::npos);
}

TEST_F(BuildKeySafeBagTest, AnExceptionIsCorruptAsn1AndAddsNothing) {
    static CRYPT_OID_INFO row{};
    row.pszOID = "no identifier";
    Calls().ReplaceAlgorithmInfo([](ALG_ID, DWORD) -> PCCRYPT_OID_INFO { return &row; });
    bag_ = ToBlob({1});
    EXPECT_FAILS_WITH(CRYPT_E_ASN1_CORRUPT, Build());
    EXPECT_TRUE(bag_.IsEmpty());
}

}  // namespace
