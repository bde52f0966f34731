#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "support/certificates.h"
#include "support/hex.h"
#include "support/last_error.h"
#include "support/scoped_environment.h"

namespace {

using test_support::Certificate;
using test_support::CertificateBytes;
using test_support::Chain;

std::vector<BYTE> Property(PCCERT_CONTEXT context, DWORD number) {
    DWORD size = 0;
    EXPECT_TRUE(CertGetCertificateContextProperty(context, number, nullptr, &size));
    std::vector<BYTE> value(size);
    EXPECT_TRUE(CertGetCertificateContextProperty(context, number, value.data(), &size));
    return value;
}

BOOL SetBlob(PCCERT_CONTEXT context, DWORD number, std::string text) {
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(text.size()), reinterpret_cast<BYTE*>(text.data())};
    return CertSetCertificateContextProperty(context, number, 0, &blob);
}

std::string Name(PCCERT_CONTEXT context, DWORD type, DWORD flags = 0, void* parameter = nullptr) {
    char text[300];
    CertGetNameStringA(context, type, flags, parameter, text, sizeof(text));
    return text;
}

TEST(CertCreateCertificateContext, TakesWhatOpensslMadeApart) {
    const CertificateBytes& leaf = Chain().leaf;
    const Certificate certificate(leaf);
    ASSERT_NE(certificate.Get(), nullptr);
    EXPECT_EQ(CertificateBytes(certificate->pbCertEncoded,
                               certificate->pbCertEncoded + certificate->cbCertEncoded),
              leaf);
    EXPECT_EQ(certificate->dwCertEncodingType, DWORD{X509_ASN_ENCODING});
    EXPECT_EQ(certificate->hCertStore, nullptr);
    const CERT_INFO& info = *certificate->pCertInfo;
    EXPECT_EQ(info.dwVersion, DWORD{CERT_V3});
    // 0xFEDCBA9876543210 with the octet of the sign, the other way round.
    const std::vector<BYTE> serial{0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE, 0x00};
    EXPECT_EQ(std::vector<BYTE>(info.SerialNumber.pbData,
                                info.SerialNumber.pbData + info.SerialNumber.cbData),
              serial);
    EXPECT_STREQ(info.SignatureAlgorithm.pszObjId, "1.2.840.10045.4.3.2");
    EXPECT_STREQ(info.SubjectPublicKeyInfo.Algorithm.pszObjId, "1.2.840.10045.2.1");
    // The identifier of the curve, 1.2.840.10045.3.1.7.
    EXPECT_EQ(info.SubjectPublicKeyInfo.Algorithm.Parameters.cbData, 10u);
    EXPECT_EQ(info.SubjectPublicKeyInfo.PublicKey.cbData, 65u);
    EXPECT_EQ(info.SubjectPublicKeyInfo.PublicKey.cUnusedBits, 0u);
    ASSERT_GE(info.cExtension, 1u);
    EXPECT_STREQ(info.rgExtension[0].pszObjId, "2.5.29.14");
    EXPECT_FALSE(info.rgExtension[0].fCritical);
    const BYTE* const end = certificate->pbCertEncoded + certificate->cbCertEncoded;
    EXPECT_TRUE(info.Subject.pbData > certificate->pbCertEncoded && info.Subject.pbData < end);
    // 3650 days in units of 100 nanoseconds.
    const auto number = [](const FILETIME& time) {
        return ULONGLONG{time.dwHighDateTime} << 32 | time.dwLowDateTime;
    };
    EXPECT_EQ(number(info.NotAfter) - number(info.NotBefore), 3650ull * 86400 * 10'000'000);
}

// The identifier of the leaf's public key, its first octet (1.2) kept and the six behind it
// changed.
std::string KeyOidWith(std::array<BYTE, 6> octets) {
    CertificateBytes changed = Chain().leaf;
    const BYTE old[] = {0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01};
    const auto found = std::ranges::search(changed, old);
    std::ranges::copy(octets, found.begin() + 3);
    const Certificate certificate(changed);
    return certificate.Get() != nullptr
               ? certificate->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId
               : "refused";
}

TEST(CertCreateCertificateContext, TellsIdentifiersWhateverTheirArcs) {
    EXPECT_EQ(KeyOidWith({0x00, 0x01, 0x7F, 0x81, 0x00, 0x02}), "1.2.0.1.127.128.2");
    EXPECT_EQ(KeyOidWith({0x8F, 0xFF, 0xFF, 0xFF, 0x7F, 0x01}), "1.2.4294967295.1");
    EXPECT_EQ(KeyOidWith({0x90, 0x80, 0x80, 0x80, 0x00, 0x01}), "1.2.4294967296.1");
    EXPECT_EQ(KeyOidWith({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}), "1.2.4398046511103");
}

TEST(CertCreateCertificateContext, RefusesIdentifiersThatArePaddedOrCut) {
    EXPECT_EQ(KeyOidWith({0x80, 0x01, 0x01, 0x01, 0x01, 0x01}), "refused");
    EXPECT_EQ(KeyOidWith({0x01, 0x01, 0x01, 0x01, 0x01, 0x81}), "refused");
}

TEST(CertCreateCertificateContext, RefusesWhatIsNoCertificate) {
    CertificateBytes bytes = Chain().leaf;
    const auto create = [&bytes](DWORD encoding, std::size_t size) {
        return CertCreateCertificateContext(encoding, bytes.data(), static_cast<DWORD>(size));
    };
    EXPECT_FAILS_WITH(E_INVALIDARG, CertCreateCertificateContext(X509_ASN_ENCODING, nullptr, 5));
    EXPECT_FAILS_WITH(E_INVALIDARG, create(PKCS_7_ASN_ENCODING, bytes.size()));
    EXPECT_FAILS_WITH(E_INVALIDARG, create(0, bytes.size()));
    EXPECT_FAILS_WITH(CRYPT_E_ASN1_CORRUPT, create(X509_ASN_ENCODING, 0));
    for (std::size_t size = 1; size < bytes.size(); ++size) {
        EXPECT_FAILS_WITH(CRYPT_E_ASN1_CORRUPT, create(X509_ASN_ENCODING, size)) << size;
    }
    bytes.push_back(0);
    EXPECT_FAILS_WITH(CRYPT_E_ASN1_CORRUPT, create(X509_ASN_ENCODING, bytes.size()));
}

TEST(CertCreateCertificateContext, SurvivesEveryDamagedByte) {
    const CertificateBytes& leaf = Chain().leaf;
    int taken = 0;
    for (std::size_t at = 0; at < leaf.size(); ++at) {
        for (const int change : {0x01, 0x80, 0xFF}) {
            CertificateBytes damaged = leaf;
            damaged[at] = static_cast<BYTE>(damaged[at] ^ change);
            const Certificate certificate(damaged);
            if (certificate.Get() != nullptr) {
                ++taken;
                Name(certificate.Get(), CERT_NAME_RDN_TYPE);
                DWORD size = 0;
                CertGetCertificateContextProperty(certificate.Get(), CERT_KEY_IDENTIFIER_PROP_ID,
                                                  nullptr, &size);
            }
        }
    }
    // Damage inside of names, numbers, keys and signatures leaves a certificate.
    EXPECT_GT(taken, 0);
}

TEST(CertificateContexts, AreFreedByTheLastReference) {
    PCCERT_CONTEXT const context = Certificate(Chain().leaf).Leave();
    EXPECT_EQ(CertDuplicateCertificateContext(context), context);
    EXPECT_TRUE(CertFreeCertificateContext(context));
    EXPECT_EQ(context->cbCertEncoded, Chain().leaf.size());
    EXPECT_TRUE(CertFreeCertificateContext(context));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertDuplicateCertificateContext(context));
    DWORD size = 0;
    EXPECT_FAILS_WITH(E_INVALIDARG, CertGetCertificateContextProperty(context, CERT_HASH_PROP_ID,
                                                                      nullptr, &size));
    SetLastError(5);
    EXPECT_TRUE(CertFreeCertificateContext(context));
    EXPECT_TRUE(CertFreeCertificateContext(nullptr));
    EXPECT_EQ(CertDuplicateCertificateContext(nullptr), nullptr);
    EXPECT_EQ(GetLastError(), 5u);
}

TEST(CertCompareCertificate, LooksAtIssuerAndSerialNumberAlone) {
    const Certificate leaf(Chain().leaf);
    const Certificate newer(Chain().newerLeaf);
    const Certificate other(Chain().otherLeaf);
    EXPECT_TRUE(CertCompareCertificate(X509_ASN_ENCODING, leaf->pCertInfo, newer->pCertInfo));
    EXPECT_FALSE(CertCompareCertificate(X509_ASN_ENCODING, leaf->pCertInfo, other->pCertInfo));
    EXPECT_FALSE(CertCompareCertificate(X509_ASN_ENCODING, leaf->pCertInfo, nullptr));
    EXPECT_FALSE(CertCompareCertificate(X509_ASN_ENCODING, nullptr, leaf->pCertInfo));
    // A number is the same without the octet of its sign only where the sign stays the same.
    CERT_INFO shorter = *leaf->pCertInfo;
    --shorter.SerialNumber.cbData;
    EXPECT_FALSE(CertCompareCertificate(X509_ASN_ENCODING, leaf->pCertInfo, &shorter));
}

TEST(CertificateProperties, HashesAgreeWithOpenssl) {
    const Certificate leaf(Chain().leaf);
    BYTE hash[20];
    DWORD size = sizeof(hash);
    ASSERT_TRUE(CryptHashCertificate(0, CALG_SHA1, 0, leaf->pbCertEncoded, leaf->cbCertEncoded,
                                     hash, &size));
    const std::vector<BYTE> sha1 = Property(leaf.Get(), CERT_SHA1_HASH_PROP_ID);
    EXPECT_TRUE(std::ranges::equal(hash, sha1));
    EXPECT_EQ(Property(leaf.Get(), CERT_MD5_HASH_PROP_ID).size(), 16u);
    EXPECT_EQ(Property(leaf.Get(), CERT_SHA256_HASH_PROP_ID).size(), 32u);
    // subjectKeyIdentifier=hash is the SHA-1 of the key's bits.
    const CRYPT_BIT_BLOB& key = leaf->pCertInfo->SubjectPublicKeyInfo.PublicKey;
    ASSERT_TRUE(CryptHashCertificate(0, 0, 0, key.pbData, key.cbData, hash, &size));
    EXPECT_TRUE(std::ranges::equal(hash, Property(leaf.Get(), CERT_KEY_IDENTIFIER_PROP_ID)));
}

TEST(CryptHashCertificate, GivesPublishedValuesAndErrorWords) {
    const BYTE data[] = {'a', 'b', 'c'};
    BYTE hash[64];
    DWORD size = 0;
    ASSERT_TRUE(CryptHashCertificate(0, CALG_SHA1, 0, data, 3, nullptr, &size));
    EXPECT_EQ(size, 20u);
    size = 19;
    EXPECT_FAILS_WITH(ERROR_MORE_DATA, CryptHashCertificate(0, CALG_SHA1, 0, data, 3, hash, &size));
    EXPECT_EQ(size, 20u);
    ASSERT_TRUE(CryptHashCertificate(0, CALG_SHA1, 0, data, 3, hash, &size));
    // FIPS 180-4's example.
    const BYTE expected[] = {0xa9, 0x99, 0x3e, 0x36, 0x47, 0x06, 0x81, 0x6a, 0xba, 0x3e,
                             0x25, 0x71, 0x78, 0x50, 0xc2, 0x6c, 0x9c, 0xd0, 0xd8, 0x9d};
    EXPECT_EQ(std::memcmp(hash, expected, 20), 0);
    EXPECT_FAILS_WITH(E_INVALIDARG, CryptHashCertificate(0, CALG_SHA1, 0, nullptr, 3, hash, &size));
    EXPECT_FAILS_WITH(E_INVALIDARG, CryptHashCertificate(0, CALG_SHA1, 0, data, 3, hash, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE,
                      CryptHashCertificate(12345, CALG_SHA1, 0, data, 3, hash, &size));
}

TEST(CryptHashCertificate, AsksTheProviderForGostHashes) {
    const test_support::ScopedSettings settings;
    const BYTE data[] = {'a', 'b', 'c'};
    BYTE hash[32];
    DWORD size = sizeof(hash);
    ASSERT_TRUE(CryptHashCertificate(0, 0x8021, 0, data, 3, hash, &size));
    // As "openssl dgst -engine gost -md_gost12_256" gives it.
    const BYTE expected[] = {0x4e, 0x29, 0x19, 0xcf, 0x13, 0x7e, 0xd4, 0x1e, 0xc4, 0xfb, 0x62,
                             0x70, 0xc6, 0x18, 0x26, 0xcc, 0x4f, 0xff, 0xb6, 0x60, 0x34, 0x1e,
                             0x0a, 0xf3, 0x68, 0x8c, 0xd0, 0x62, 0x6d, 0x23, 0xb4, 0x81};
    EXPECT_EQ(std::memcmp(hash, expected, 32), 0);
}

// A record whose every byte is overwritten once it has been handed over.
struct Record {
    std::wstring container = L"box \u0416";
    std::wstring provider = L"Some Provider";
    std::string pin = "1234";
    CRYPT_KEY_PROV_PARAM parameters[1] = {
        {PP_SIGNATURE_PIN, reinterpret_cast<BYTE*>(pin.data()), 5, 7}};
    CRYPT_KEY_PROV_INFO info{container.data(), provider.data(), 75, 32, 1,
                             parameters,       AT_SIGNATURE};
};

TEST(CertificateProperties, CopyAKeyRecordWithAllItLeadsTo) {
    const Certificate leaf(Chain().leaf);
    {
        Record record;
        ASSERT_TRUE(CertSetCertificateContextProperty(leaf.Get(), CERT_KEY_PROV_INFO_PROP_ID, 0,
                                                      &record.info));
        std::ranges::fill(record.container, L'x');
        std::ranges::fill(record.pin, 'x');
        record.parameters[0].dwParam = 0;
    }
    std::vector<BYTE> block = Property(leaf.Get(), CERT_KEY_PROV_INFO_PROP_ID);
    const auto* const info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(block.data());
    EXPECT_STREQ(info->pwszContainerName, L"box \u0416");
    EXPECT_STREQ(info->pwszProvName, L"Some Provider");
    EXPECT_EQ(info->dwProvType, 75u);
    EXPECT_EQ(info->dwFlags, 32u);
    EXPECT_EQ(info->dwKeySpec, DWORD{AT_SIGNATURE});
    ASSERT_EQ(info->cProvParam, 1u);
    EXPECT_EQ(info->rgProvParam->dwParam, DWORD{PP_SIGNATURE_PIN});
    EXPECT_EQ(info->rgProvParam->dwFlags, 7u);
    ASSERT_EQ(info->rgProvParam->cbData, 5u);
    EXPECT_STREQ(reinterpret_cast<const char*>(info->rgProvParam->pbData), "1234");
    const auto isInBlock = [&block](const void* pointer) {
        const auto* const at = static_cast<const BYTE*>(pointer);
        return at >= block.data() && at < block.data() + block.size();
    };
    EXPECT_TRUE(isInBlock(info->pwszContainerName) && isInBlock(info->pwszProvName) &&
                isInBlock(info->rgProvParam) && isInBlock(info->rgProvParam->pbData));
    DWORD keySpec = 0;
    DWORD size = sizeof(keySpec);
    EXPECT_TRUE(
        CertGetCertificateContextProperty(leaf.Get(), CERT_KEY_SPEC_PROP_ID, &keySpec, &size));
    EXPECT_EQ(keySpec, DWORD{AT_SIGNATURE});
}

TEST(CertificateProperties, KeepNullNamesNull) {
    const Certificate leaf(Chain().leaf);
    CRYPT_KEY_PROV_INFO empty{};
    ASSERT_TRUE(
        CertSetCertificateContextProperty(leaf.Get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &empty));
    std::vector<BYTE> block = Property(leaf.Get(), CERT_KEY_PROV_INFO_PROP_ID);
    const auto* const info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(block.data());
    EXPECT_EQ(info->pwszContainerName, nullptr);
    EXPECT_EQ(info->pwszProvName, nullptr);
    EXPECT_EQ(info->rgProvParam, nullptr);
}

TEST(CertificateProperties, KeepTheRuleOfSizesAndErrorWords) {
    const Certificate leaf(Chain().leaf);
    ASSERT_TRUE(SetBlob(leaf.Get(), CERT_FRIENDLY_NAME_PROP_ID, "name"));
    BYTE room[8];
    DWORD size = 3;
    EXPECT_FAILS_WITH(ERROR_MORE_DATA, CertGetCertificateContextProperty(
                                           leaf.Get(), CERT_FRIENDLY_NAME_PROP_ID, room, &size));
    EXPECT_EQ(size, 4u);
    EXPECT_TRUE(
        CertGetCertificateContextProperty(leaf.Get(), CERT_FRIENDLY_NAME_PROP_ID, room, &size));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertGetCertificateContextProperty(
                                        leaf.Get(), CERT_FRIENDLY_NAME_PROP_ID, room, nullptr));
    EXPECT_FAILS_WITH(
        CRYPT_E_NOT_FOUND,
        CertGetCertificateContextProperty(leaf.Get(), CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size));
    EXPECT_FAILS_WITH(CRYPT_E_NOT_FOUND, CertGetCertificateContextProperty(
                                             leaf.Get(), CERT_DESCRIPTION_PROP_ID, nullptr, &size));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertGetCertificateContextProperty(nullptr, CERT_HASH_PROP_ID,
                                                                      nullptr, &size));
    EXPECT_FAILS_WITH(E_INVALIDARG, SetBlob(leaf.Get(), CERT_SHA1_HASH_PROP_ID, "no hash"));
    EXPECT_FAILS_WITH(E_INVALIDARG, SetBlob(leaf.Get(), 0, ""));
    EXPECT_FAILS_WITH(E_INVALIDARG, SetBlob(leaf.Get(), 0x10000, ""));
    EXPECT_FAILS_WITH(E_INVALIDARG, SetBlob(nullptr, CERT_FRIENDLY_NAME_PROP_ID, ""));
    CRYPT_KEY_PROV_INFO broken{};
    broken.cProvParam = 1;
    EXPECT_FAILS_WITH(E_INVALIDARG, CertSetCertificateContextProperty(
                                        leaf.Get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &broken));
}

TEST(CertificateProperties, AreEnumeratedInOrderAndRemovedByNull) {
    const Certificate leaf(Chain().leaf);
    EXPECT_EQ(CertEnumCertificateContextProperties(leaf.Get(), 0), 0u);
    Record record;
    ASSERT_TRUE(SetBlob(leaf.Get(), CERT_FIRST_USER_PROP_ID, "mine"));
    ASSERT_TRUE(SetBlob(leaf.Get(), CERT_FRIENDLY_NAME_PROP_ID, "name"));
    ASSERT_TRUE(
        CertSetCertificateContextProperty(leaf.Get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &record.info));
    std::vector<DWORD> numbers;
    for (DWORD n = 0; (n = CertEnumCertificateContextProperties(leaf.Get(), n)) != 0;) {
        numbers.push_back(n);
    }
    EXPECT_EQ(numbers, (std::vector<DWORD>{CERT_KEY_PROV_INFO_PROP_ID, CERT_FRIENDLY_NAME_PROP_ID,
                                           CERT_FIRST_USER_PROP_ID}));
    for (const DWORD n : numbers) {
        EXPECT_TRUE(CertSetCertificateContextProperty(leaf.Get(), n, 0, nullptr));
    }
    EXPECT_EQ(CertEnumCertificateContextProperties(leaf.Get(), 0), 0u);
}

TEST(CertGetNameString, ReadsSubjectAndIssuer) {
    const Certificate leaf(Chain().leaf);
    EXPECT_EQ(Name(leaf.Get(), CERT_NAME_SIMPLE_DISPLAY_TYPE), "Leaf One");
    EXPECT_EQ(Name(leaf.Get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, CERT_NAME_ISSUER_FLAG), "Issuer");
    EXPECT_EQ(Name(leaf.Get(), CERT_NAME_EMAIL_TYPE), "leaf@example.org");
    EXPECT_EQ(Name(leaf.Get(), CERT_NAME_RDN_TYPE),
              "C=RU, O=Test, CN=Leaf One, E=leaf@example.org");
    DWORD reversed = CERT_OID_NAME_STR | CERT_NAME_STR_REVERSE_FLAG;
    EXPECT_EQ(Name(leaf.Get(), CERT_NAME_RDN_TYPE, CERT_NAME_ISSUER_FLAG, &reversed),
              "2.5.4.3=Issuer, 2.5.4.10=Test");
    char country[] = "2.5.4.6";
    EXPECT_EQ(Name(leaf.Get(), CERT_NAME_ATTR_TYPE, 0, country), "RU");
    char missing[] = "2.5.4.9";
    EXPECT_EQ(Name(leaf.Get(), CERT_NAME_ATTR_TYPE, 0, missing), "");
}

TEST(CertGetNameString, CutsToTheRoomAndCountsTheTerminator) {
    const Certificate leaf(Chain().leaf);
    EXPECT_EQ(CertGetNameStringW(leaf.Get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, nullptr, 0),
              9u);
    wchar_t text[5];
    EXPECT_EQ(CertGetNameStringW(leaf.Get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, text, 5),
              5u);
    EXPECT_STREQ(text, L"Leaf");
    EXPECT_EQ(CertGetNameStringW(nullptr, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, text, 5), 1u);
    EXPECT_STREQ(text, L"");
}

TEST(CertGetNameString, PrefersTheFriendlyName) {
    const Certificate leaf(Chain().leaf);
    EXPECT_EQ(Name(leaf.Get(), CERT_NAME_FRIENDLY_DISPLAY_TYPE), "Leaf One");
    std::wstring name = L"Mine";
    CRYPT_DATA_BLOB blob{static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t)),
                         reinterpret_cast<BYTE*>(name.data())};
    ASSERT_TRUE(
        CertSetCertificateContextProperty(leaf.Get(), CERT_FRIENDLY_NAME_PROP_ID, 0, &blob));
    EXPECT_EQ(Name(leaf.Get(), CERT_NAME_FRIENDLY_DISPLAY_TYPE), "Mine");
}

TEST(PFXIsPFXBlob, KnowsThePeersDocumentsFromOtherBytes) {
    const std::filesystem::path folder = MVLPFX_TEST_DATA "/documents";
    int documents = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        if (file.path().extension() != ".pfx") {
            continue;
        }
        CertificateBytes bytes = test_support::ReadCertificate(file.path());
        CRYPT_DATA_BLOB blob{static_cast<DWORD>(bytes.size()), bytes.data()};
        EXPECT_TRUE(PFXIsPFXBlob(&blob)) << file.path();
        --blob.cbData;
        EXPECT_FALSE(PFXIsPFXBlob(&blob)) << file.path();
        ++documents;
    }
    EXPECT_GT(documents, 0);
    CertificateBytes certificate = Chain().leaf;
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(certificate.size()), certificate.data()};
    EXPECT_FALSE(PFXIsPFXBlob(&blob));
    blob.cbData = 0;
    EXPECT_FALSE(PFXIsPFXBlob(&blob));
    blob.pbData = nullptr;
    EXPECT_FALSE(PFXIsPFXBlob(&blob));
    EXPECT_FALSE(PFXIsPFXBlob(nullptr));
}

}  // namespace
