// Certificates that keys of real containers sign for themselves.
#include "integration/own_keys.h"

#include <openssl/asn1.h>
#include <openssl/x509v3.h>

#include <array>
#include <cstring>

#include "platform/csp_parameters.h"

namespace {

using own_keys::Bytes;
using own_keys::Container;
using own_keys::Decode;
using own_keys::Decoded;
using own_keys::Family;
using own_keys::kGost2012_256;
using own_keys::SelfSign;
using own_keys::Wish;
using test_support::Certificate;

std::string DottedText(const ASN1_OBJECT* object) {
    std::array<char, 64> text{};
    OBJ_obj2txt(text.data(), text.size(), object, 1);
    return text.data();
}

std::string TimeText(const ASN1_TIME* time) {
    return std::string(reinterpret_cast<const char*>(ASN1_STRING_get0_data(time)),
                       static_cast<std::size_t>(ASN1_STRING_length(time)));
}

class SelfSignedFamily : public own_keys::OwnKeysTest,
                         public testing::WithParamInterface<Family> {};

TEST_P(SelfSignedFamily, IsSignedByTheKeyThatItHolds) {
    const Family& family = GetParam();
    const Container container("mine");
    container.Generate(family.algorithm);
    const Certificate certificate(SelfSign(container.Get(), family.keySpec));
    ASSERT_NE(certificate.Get(), nullptr) << std::hex << GetLastError();
    const Decoded decoded = Decode(certificate.Get());

    Bytes signedPart = own_keys::SignedPart(decoded.get());
    const Bytes signature = own_keys::Signature(decoded.get());
    const Bytes publicKeyInfo = own_keys::PublicKeyInfo(decoded.get());
    EXPECT_EQ(signature.size(), family.signatureSize);
    EXPECT_TRUE(own_keys::Verifies(family, publicKeyInfo, signedPart, signature));
    signedPart.back() ^= 1;
    EXPECT_FALSE(own_keys::Verifies(family, publicKeyInfo, signedPart, signature));
}

TEST_P(SelfSignedFamily, NamesItsAlgorithmsAndItsSubjectTwice) {
    const Family& family = GetParam();
    const Container container("mine");
    container.Generate(family.algorithm);
    const Certificate certificate(SelfSign(container.Get(), family.keySpec));
    ASSERT_NE(certificate.Get(), nullptr);
    const Decoded decoded = Decode(certificate.Get());

    EXPECT_EQ(X509_get_version(decoded.get()), X509_VERSION_3);
    const ASN1_BIT_STRING* bits = nullptr;
    const X509_ALGOR* outer = nullptr;
    X509_get0_signature(&bits, &outer, decoded.get());
    EXPECT_EQ(DottedText(outer->algorithm), family.signatureOid);
    EXPECT_EQ(DottedText(X509_get0_tbs_sigalg(decoded.get())->algorithm), family.signatureOid);
    const CERT_INFO& info = *certificate->pCertInfo;
    EXPECT_STREQ(info.SubjectPublicKeyInfo.Algorithm.pszObjId, family.publicKeyOid);
    EXPECT_EQ(Bytes(info.Subject.pbData, info.Subject.pbData + info.Subject.cbData),
              own_keys::Name());
    EXPECT_EQ(Bytes(info.Issuer.pbData, info.Issuer.pbData + info.Issuer.cbData), own_keys::Name());
}

TEST_P(SelfSignedFamily, IsTiedToItsContainerByTheUniqueName) {
    const Family& family = GetParam();
    const Container container("mine");
    container.Generate(family.algorithm);
    const Certificate certificate(SelfSign(container.Get(), family.keySpec));
    ASSERT_NE(certificate.Get(), nullptr);
    alignas(CRYPT_KEY_PROV_INFO) std::array<BYTE, 4096> block{};
    DWORD size = block.size();
    ASSERT_TRUE(CertGetCertificateContextProperty(certificate.Get(), CERT_KEY_PROV_INFO_PROP_ID,
                                                  block.data(), &size));
    const auto& info = *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(block.data());
    const std::string unique = own_keys::Text(container.Get(), PP_UNIQUE_CONTAINER);
    EXPECT_EQ(std::wstring(info.pwszContainerName), std::wstring(unique.begin(), unique.end()));
    EXPECT_EQ(std::wstring(info.pwszProvName), L"Velmorix Cryptographic Service Provider");
    EXPECT_EQ(info.dwProvType, 2U);
    EXPECT_EQ(info.dwFlags, 0U);
    EXPECT_EQ(info.dwKeySpec, family.keySpec);
    EXPECT_EQ(info.cProvParam, 0U);
}

INSTANTIATE_TEST_SUITE_P(OwnKeys, SelfSignedFamily, testing::ValuesIn(own_keys::kFamilies),
                         [](const auto& of) { return std::string(of.param.name); });

class SelfSigned : public own_keys::OwnKeysTest {
  protected:
    SelfSigned() { wish_.provider = container_.Generate(kGost2012_256.algorithm).Get(); }

    // Its beginning and end, as they stand in it; empty where there is no certificate.
    std::array<std::string, 2> Validity(SYSTEMTIME start, const SYSTEMTIME* end) {
        SYSTEMTIME last = end == nullptr ? SYSTEMTIME{} : *end;
        wish_.start = &start;
        wish_.end = end == nullptr ? nullptr : &last;
        SetLastError(0);
        const Certificate certificate(wish_.Make());
        if (certificate.Get() == nullptr) {
            EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
            return {};
        }
        const Decoded decoded = Decode(certificate.Get());
        const ASN1_TIME* const from = X509_get0_notBefore(decoded.get());
        const ASN1_TIME* const until = X509_get0_notAfter(decoded.get());
        for (const ASN1_TIME* const time : {from, until}) {
            const bool isShort = ASN1_STRING_length(time) == 13;
            EXPECT_EQ(ASN1_STRING_type(time), isShort ? V_ASN1_UTCTIME : V_ASN1_GENERALIZEDTIME);
        }
        return {TimeText(from), TimeText(until)};
    }
    static SYSTEMTIME Day(WORD year, WORD month, WORD day) {
        return {year, month, 0, day, 0, 0, 0, 0};
    }
    static SYSTEMTIME LastSecondOf(WORD year) { return {year, 12, 0, 31, 23, 59, 59, 0}; }

    const Container container_{"mine"};
    Wish wish_;
};

using Times = std::array<std::string, 2>;

TEST_F(SelfSigned, WritesYearsUpTo2049WithTwoDigitsAndLaterOnesWithFour) {
    const SYSTEMTIME last = LastSecondOf(2049);
    EXPECT_EQ(Validity(Day(1950, 1, 1), &last), (Times{"500101000000Z", "491231235959Z"}));
    const SYSTEMTIME next = Day(2050, 1, 1);
    EXPECT_EQ(Validity(Day(2000, 2, 29), &next), (Times{"000229000000Z", "20500101000000Z"}));
    const SYSTEMTIME end = LastSecondOf(9999);
    EXPECT_EQ(Validity(Day(2050, 1, 1), &end), (Times{"20500101000000Z", "99991231235959Z"}));
}

TEST_F(SelfSigned, LastsForAYearUnlessToldOtherwise) {
    EXPECT_EQ(Validity(Day(2023, 1, 1), nullptr), (Times{"230101000000Z", "240101000000Z"}));
    EXPECT_EQ(Validity(Day(2024, 2, 29), nullptr), (Times{"240229000000Z", "250228000000Z"}));
    EXPECT_EQ(Validity(Day(2049, 6, 1), nullptr), (Times{"490601000000Z", "20500601000000Z"}));
}

TEST_F(SelfSigned, BeginsNowUnlessToldOtherwise) {
    SYSTEMTIME before{};
    GetSystemTime(&before);
    before.wMilliseconds = 0;
    const Certificate certificate(wish_.Make());
    SYSTEMTIME after{};
    GetSystemTime(&after);
    ASSERT_NE(certificate.Get(), nullptr);
    const auto number = [](const FILETIME& time) {
        return ULONGLONG{time.dwHighDateTime} << 32 | time.dwLowDateTime;
    };
    FILETIME first{};
    FILETIME last{};
    ASSERT_TRUE(SystemTimeToFileTime(&before, &first) && SystemTimeToFileTime(&after, &last));
    EXPECT_GE(number(certificate->pCertInfo->NotBefore), number(first));
    EXPECT_LE(number(certificate->pCertInfo->NotBefore), number(last));
}

TEST_F(SelfSigned, RefusesTimesThatItCannotWrite) {
    const SYSTEMTIME end = LastSecondOf(2049);
    for (const SYSTEMTIME& start :
         {Day(1949, 12, 31), Day(10000, 1, 1), Day(2023, 13, 1), Day(2023, 0, 1), Day(2023, 2, 29),
          Day(0, 1, 1), SYSTEMTIME{2023, 1, 0, 1, 24, 0, 0, 0}}) {
        EXPECT_EQ(Validity(start, &end), Times());
        EXPECT_EQ(Validity(Day(2023, 1, 1), &start), Times());
        EXPECT_EQ(Validity(start, nullptr), Times());
    }
    // A year after it there is none with four digits.
    EXPECT_EQ(Validity(Day(9999, 6, 1), nullptr), Times());
}

TEST_F(SelfSigned, CarriesTheExtensionsInTheirOrder) {
    Bytes usage = {0x03, 0x02, 0x02, 0xFC};
    Bytes constraints = {0x30, 0x00};
    std::string usageOid = "2.5.29.15";
    std::string constraintsOid = "2.5.29.19";
    std::array<CERT_EXTENSION, 2> list{
        {{usageOid.data(), TRUE, {static_cast<DWORD>(usage.size()), usage.data()}},
         {constraintsOid.data(),
          FALSE,
          {static_cast<DWORD>(constraints.size()), constraints.data()}}}};
    CERT_EXTENSIONS extensions{list.size(), list.data()};
    wish_.extensions = &extensions;
    const Certificate certificate(wish_.Make());
    ASSERT_NE(certificate.Get(), nullptr);
    const Decoded decoded = Decode(certificate.Get());
    ASSERT_EQ(X509_get_ext_count(decoded.get()), 2);
    for (int i = 0; i < 2; ++i) {
        const CERT_EXTENSION& wanted = list[static_cast<std::size_t>(i)];
        X509_EXTENSION* const found = X509_get_ext(decoded.get(), i);
        EXPECT_EQ(DottedText(X509_EXTENSION_get_object(found)), wanted.pszObjId);
        EXPECT_EQ(X509_EXTENSION_get_critical(found), wanted.fCritical);
        const ASN1_OCTET_STRING* const value = X509_EXTENSION_get_data(found);
        EXPECT_EQ(Bytes(value->data, value->data + value->length),
                  Bytes(wanted.Value.pbData, wanted.Value.pbData + wanted.Value.cbData));
    }
}

TEST_F(SelfSigned, HasNoExtensionsWhereNoneAreGiven) {
    CERT_EXTENSIONS none{0, nullptr};
    for (CERT_EXTENSIONS* const extensions : {static_cast<CERT_EXTENSIONS*>(nullptr), &none}) {
        wish_.extensions = extensions;
        const Certificate certificate(wish_.Make());
        ASSERT_NE(certificate.Get(), nullptr);
        EXPECT_EQ(certificate->pCertInfo->cExtension, 0U);
        EXPECT_EQ(X509_get_ext_count(Decode(certificate.Get()).get()), 0);
    }
}

TEST_F(SelfSigned, HasASerialNumberOfItsOwn) {
    const Certificate one(wish_.Make());
    const Certificate two(wish_.Make());
    ASSERT_TRUE(one.Get() != nullptr && two.Get() != nullptr);
    EXPECT_FALSE(CertCompareCertificate(X509_ASN_ENCODING, one->pCertInfo, two->pCertInfo));
    for (const Certificate* const certificate : {&one, &two}) {
        const CRYPT_INTEGER_BLOB& serial = (*certificate)->pCertInfo->SerialNumber;
        ASSERT_EQ(serial.cbData, 16U);
        // Positive, and no shorter number.
        EXPECT_EQ(serial.pbData[15] & 0xC0, 0x40);
    }
}

TEST_F(SelfSigned, IsLeftUnsignedWhenAsked) {
    wish_.flags = CERT_CREATE_SELFSIGN_NO_SIGN;
    const Certificate certificate(wish_.Make());
    ASSERT_NE(certificate.Get(), nullptr);
    const Decoded decoded = Decode(certificate.Get());
    EXPECT_EQ(own_keys::Signature(decoded.get()), Bytes());
    EXPECT_STREQ(certificate->pCertInfo->SignatureAlgorithm.pszObjId, kGost2012_256.signatureOid);
}

TEST_F(SelfSigned, IsTiedToNoKeyWhenAsked) {
    wish_.flags = CERT_CREATE_SELFSIGN_NO_KEY_INFO;
    const Certificate certificate(wish_.Make());
    ASSERT_NE(certificate.Get(), nullptr);
    DWORD size = 0;
    EXPECT_FAILS_WITH(CRYPT_E_NOT_FOUND,
                      CertGetCertificateContextProperty(
                          certificate.Get(), CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size));
}

TEST_F(SelfSigned, IsTiedToWhatTheCallerNames) {
    std::wstring name = L"a name";
    CRYPT_KEY_PROV_INFO given{};
    given.pwszContainerName = name.data();
    given.dwProvType = 5;
    given.dwKeySpec = AT_SIGNATURE;
    wish_.info = &given;
    const Certificate certificate(wish_.Make());
    ASSERT_NE(certificate.Get(), nullptr);
    alignas(CRYPT_KEY_PROV_INFO) std::array<BYTE, 512> block{};
    DWORD size = block.size();
    ASSERT_TRUE(CertGetCertificateContextProperty(certificate.Get(), CERT_KEY_PROV_INFO_PROP_ID,
                                                  block.data(), &size));
    const auto& info = *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(block.data());
    EXPECT_EQ(std::wstring(info.pwszContainerName), name);
    EXPECT_EQ(info.pwszProvName, nullptr);
    EXPECT_EQ(info.dwProvType, 5U);
}

TEST_F(SelfSigned, OfTheMachineSaysSo) {
    const Container machine("the machine's", CRYPT_NEWKEYSET | CRYPT_MACHINE_KEYSET);
    machine.Generate(kGost2012_256.algorithm);
    const Certificate certificate(SelfSign(machine.Get()));
    ASSERT_NE(certificate.Get(), nullptr);
    HCRYPTPROV key = 0;
    DWORD keySpec = 0;
    BOOL isCallers = FALSE;
    ASSERT_TRUE(CryptAcquireCertificatePrivateKey(certificate.Get(), CRYPT_ACQUIRE_COMPARE_KEY_FLAG,
                                                  nullptr, &key, &keySpec, &isCallers));
    EXPECT_EQ(own_keys::Text(key, PP_CONTAINER), "the machine's");
    EXPECT_TRUE(CryptReleaseContext(key, 0));
}

TEST_F(SelfSigned, TakesTheAlgorithmOfItsKeyAlone) {
    std::string right = kGost2012_256.signatureOid;
    std::string wrong = own_keys::kGost2001.signatureOid;
    CRYPT_ALGORITHM_IDENTIFIER algorithm{right.data(), {}};
    wish_.algorithm = &algorithm;
    EXPECT_NE(Certificate(wish_.Make()).Get(), nullptr);
    algorithm.pszObjId = wrong.data();
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, wish_.Make());
    algorithm.pszObjId = nullptr;
    EXPECT_FAILS_WITH(E_INVALIDARG, wish_.Make());
}

TEST_F(SelfSigned, RefusesWhatIsNoRequest) {
    Wish wish = wish_;
    wish.provider = 0;
    EXPECT_FAILS_WITH(E_INVALIDARG, wish.Make());
    EXPECT_FAILS_WITH(E_INVALIDARG,
                      CertCreateSelfSignCertificate(wish_.provider, nullptr, 0, nullptr, nullptr,
                                                    nullptr, nullptr, nullptr));
    CERT_NAME_BLOB nowhere{4, nullptr};
    EXPECT_FAILS_WITH(E_INVALIDARG,
                      CertCreateSelfSignCertificate(wish_.provider, &nowhere, 0, nullptr, nullptr,
                                                    nullptr, nullptr, nullptr));
    wish = wish_;
    wish.flags = 4;
    EXPECT_FAILS_WITH(E_INVALIDARG, wish.Make());
    wish = wish_;
    wish.provider = wish_.provider + 8;
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, wish.Make());
}

TEST_F(SelfSigned, RefusesExtensionsThatAreNone) {
    std::string oid = "2.5.29.15";
    std::string noOid = "digital";
    BYTE value[] = {0x05, 0x00};
    const CERT_EXTENSION bad[] = {{nullptr, FALSE, {2, value}},
                                  {noOid.data(), FALSE, {2, value}},
                                  {oid.data(), FALSE, {2, nullptr}}};
    for (CERT_EXTENSION extension : bad) {
        CERT_EXTENSIONS extensions{1, &extension};
        wish_.extensions = &extensions;
        EXPECT_FAILS_WITH(E_INVALIDARG, wish_.Make());
    }
    CERT_EXTENSIONS nowhere{1, nullptr};
    wish_.extensions = &nowhere;
    EXPECT_FAILS_WITH(E_INVALIDARG, wish_.Make());
}

TEST_F(SelfSigned, RefusesASubjectThatIsNoName) {
    for (const Bytes& name : {Bytes(), Bytes{0x30}, Bytes{0x30, 0x05, 0x31},
                              Bytes{0x02, 0x01, 0x01}, Bytes{0x30, 0x84, 0xFF, 0xFF, 0xFF, 0xFF}}) {
        wish_.name = name;
        SetLastError(0);
        EXPECT_EQ(Certificate(wish_.Make()).Get(), nullptr);
        EXPECT_EQ(GetLastError() >> 16, 0x8009U) << std::hex << GetLastError();
    }
}

TEST_F(SelfSigned, NeedsAKeyInTheSlot) {
    CRYPT_KEY_PROV_INFO info{};
    wish_.info = &info;
    info.dwKeySpec = AT_KEYEXCHANGE;
    EXPECT_FAILS_WITH(NTE_NO_KEY, wish_.Make());
    info.dwKeySpec = 3;
    EXPECT_FAILS_WITH(NTE_BAD_KEY, wish_.Make());
    const test_support::VerifyContext none;
    wish_.provider = none.Get();
    info.dwKeySpec = AT_SIGNATURE;
    EXPECT_FAILS_WITH(NTE_NO_KEY, wish_.Make());
}

// Its public key bears the identifier of a key agreement, under which nobody verifies anything.
TEST_F(SelfSigned, IsNotMadeOfAnExchangeKeyOf2001) {
    constexpr ALG_ID kExchangeOf2001 = 0xAA24;
    container_.Generate(kExchangeOf2001);
    CRYPT_KEY_PROV_INFO info{};
    info.dwKeySpec = AT_KEYEXCHANGE;
    wish_.info = &info;
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, wish_.Make());
}

TEST_F(SelfSigned, NeedsThePinToBeSignedAndOnlyForThat) {
    ASSERT_TRUE(own_keys::SetPin(wish_.provider, "2468"));
    const Container later("mine", 0);
    wish_.provider = later.Get();
    EXPECT_FAILS_WITH(SCARD_W_CARD_NOT_AUTHENTICATED, wish_.Make());
    const Container silent("mine", CRYPT_SILENT);
    wish_.provider = silent.Get();
    EXPECT_FAILS_WITH(NTE_SILENT_CONTEXT, wish_.Make());
    wish_.flags = CERT_CREATE_SELFSIGN_NO_SIGN;
    EXPECT_NE(Certificate(wish_.Make()).Get(), nullptr);
    wish_.flags = 0;
    ASSERT_TRUE(own_keys::SetPin(silent.Get(), "2468"));
    EXPECT_NE(Certificate(wish_.Make()).Get(), nullptr);
}

}  // namespace
