#include "pfxexport/export_pfx.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <span>

#include "support/export_fixture.h"
#include "support/pfx_builder.h"
#include "support/reference_document.h"

namespace {

using pkisdk::ExportPfxFromStore;
using test_support::Bytes;
using test_support::Chain;
using test_support::KeyBlob;
using test_support::kInjected;
using test_support::ReferenceDocument;
using test_support::ReferenceKey;
using test_support::ScriptedKey;

constexpr unsigned kSeed = 20;
constexpr BYTE kSaltOctet = 0x51;
constexpr ALG_ID k2001 = 0x2E23;
constexpr ALG_ID k2001Exchange = 0xAA24;
constexpr ALG_ID k2012_256 = 0x2E49;
constexpr ALG_ID k2012_512 = 0x2E3D;
constexpr ALG_ID kHash94 = 0x801E;
constexpr ALG_ID kHash512 = 0x8022;

ScriptedKey Scripted(ALG_ID algorithm, const Bytes& wrapped = {1, 2, 3}) {
    ScriptedKey key;
    key.algorithm = algorithm;
    key.blob = KeyBlob(wrapped);
    return key;
}

class ExportPfxFromStoreTest : public test_support::ExportTest {
  protected:
    ExportPfxFromStoreTest() {
        expected_.password = "Password1";
        expected_.keySalt = Bytes(32, kSaltOctet);
        expected_.certificateSalt = expected_.keySalt;
        expected_.hash = kHash94;
    }

    int Export(DWORD flags = 0, std::int32_t isSizeOnly = 0) {
        std::srand(seed_);
        SetLastError(kInjected);
        return ExportPfxFromStore(expected_.password.c_str(), nullptr, nullptr, store_.Get(), flags,
                                  isSizeOnly, &document_);
    }
    // Adds a key and its certificate to the store and to what is expected.
    void AddKey(ALG_ID algorithm, const Bytes& wrapped = {1, 2, 3}) {
        const std::wstring container = L"key" + std::to_wstring(++keys_);
        AddScripted(Chain().leaf, container, Scripted(algorithm, wrapped));
        Expect(algorithm, wrapped);
    }
    void Expect(ALG_ID algorithm, const Bytes& wrapped) {
        expected_.hash = algorithm == k2001 || algorithm == k2001Exchange ? kHash94 : kHash512;
        expected_.keys.push_back({keys_, expected_.hash, wrapped, {}, {}});
        expected_.certificates.push_back({Chain().leaf, true});
    }
    void AddCertificate(const Bytes& certificate) {
        Add(certificate);
        expected_.certificates.push_back({certificate, false});
    }
    // A key that can't be reached, and its certificate.
    void AddUnreachable(ALG_ID algorithm, const std::wstring& provider) {
        ++keys_;
        ScriptedKey key = Scripted(algorithm);
        key.isReachable = false;
        AddScripted(Chain().otherLeaf, L"unreachable", key, provider);
        expected_.certificates.push_back({Chain().otherLeaf, true});
    }
    // One reference for each selected certificate stays.
    void ExpectDocument(DWORD flags = 0) {
        Calls().ReplaceRandom(kSaltOctet);
        EXPECT_EQ(Export(flags), 1);
        EXPECT_EQ(GetLastError(), 0u);
        TakeMacSalt();
        EXPECT_EQ(document_, expected_.Build());
        ExpectNothingOpen(static_cast<int>(keys_));
    }
    // A salt that reads as an element, or whose value does, is drawn again.
    void TakeMacSalt() {
        constexpr std::ptrdiff_t kCountField = 4;
        ASSERT_GT(document_.size(), 100u);
        expected_.macSalt.assign(document_.end() - kCountField - 32, document_.end() - kCountField);
    }
    // Of the first attempt.
    std::vector<std::string> CipherOids(std::size_t count) const {
        auto oids = Calls().CipherOids();
        oids.resize(std::min(oids.size(), count));
        return oids;
    }
    void ExpectError(HRESULT error) {
        document_ = {7};
        EXPECT_FAILS_WITH(error, Export());
        EXPECT_EQ(document_, Bytes{7});
        ExpectNothingOpen(Keys().OpenCertificates());
    }

    unsigned seed_ = kSeed;
    std::uint32_t keys_ = 0;
    ReferenceDocument expected_;
    std::vector<std::uint8_t> document_;
};

TEST_F(ExportPfxFromStoreTest, AMissingOrEmptyStoreIsAnInvalidParameter) {
    EXPECT_FAILS_WITH(NTE_INVALID_PARAMETER,
                      ExportPfxFromStore("Password1", nullptr, nullptr, nullptr, 0, 0, &document_));
    EXPECT_EQ(Calls().Count("CertEnumCertificatesInStore"), 0);
    ExpectError(NTE_INVALID_PARAMETER);
}

class EachKindOfKey : public ExportPfxFromStoreTest,
                      public ::testing::WithParamInterface<ALG_ID> {};

TEST_P(EachKindOfKey, GivesTheDocumentWrittenOutLevelByLevel) {
    AddKey(GetParam());
    AddCertificate(Chain().issuer);
    ExpectDocument();
}

INSTANTIATE_TEST_SUITE_P(ExportPfxFromStore, EachKindOfKey,
                         ::testing::Values(k2001, k2001Exchange, k2012_256, k2012_512));

TEST_F(ExportPfxFromStoreTest, AStoreWithoutKeysGivesAnEmptySafeContentsOfKeys) {
    AddCertificate(Chain().root);
    AddCertificate(Chain().issuer);
    ExpectDocument();
    EXPECT_EQ(CipherOids(1), std::vector<std::string>{""});
    // Each of the two certificates by the walk and for its bag, as two texts are encrypted an
    // attempt.
    EXPECT_EQ(Calls().Count("CertGetCertificateContextProperty"),
              2 * Calls().Count("CryptEncrypt"));
}

TEST_F(ExportPfxFromStoreTest, TheProvidersAnswerToTheEmptyParameterSetDecides) {
    AddCertificate(Chain().root);
    Calls().RefuseKeyParam(104, kInjected);
    ExpectError(static_cast<HRESULT>(kInjected));
}

TEST_F(ExportPfxFromStoreTest, InAMixedStoreTheLastKeyDecidesForCertificatesAndMac) {
    AddKey(k2001, {1, 1});
    AddKey(k2012_256, {2, 2, 2});
    AddKey(k2012_512, {3});
    ExpectDocument();
    EXPECT_EQ(CipherOids(4),
              (std::vector<std::string>{"1.2.643.2.2.31.1", "1.2.643.7.1.2.5.1.1",
                                        "1.2.643.7.1.2.5.1.1", "1.2.643.7.1.2.5.1.1"}));
    AddKey(k2001Exchange, {4, 4});
    ExpectDocument();
}

TEST_F(ExportPfxFromStoreTest, ASkippedKeyLeavesItsCertificateAndItsNumber) {
    AddKey(k2012_256, {1});
    AddUnreachable(k2012_256, test_support::kDefaultProvider);
    AddKey(k2012_256, {3});
    ExpectDocument();
}

TEST_F(ExportPfxFromStoreTest, AKeyIsSkippedWhereAnyStepToItFails) {
    AddKey(k2012_256);
    expected_.keys.clear();
    expected_.hash = kHash94;
    for (const char* const call : {"CryptAcquireCertificatePrivateKey", "CryptGetUserKey"}) {
        Calls().FailNamed(call, 1, kInjected);
        ExpectDocument();
        keys_ = static_cast<std::uint32_t>(Keys().OpenCertificates()) + 1;
    }
}

TEST_F(ExportPfxFromStoreTest, ASkippedKeySetsNoHash) {
    AddKey(k2001);
    AddUnreachable(k2012_256, test_support::kDefaultProvider);
    ExpectDocument();
}

TEST_F(ExportPfxFromStoreTest, ASkippedLastKeySetsTheProviderAllTheSame) {
    AddKey(k2001);
    AddUnreachable(k2012_256, L"no such provider");
    ExpectError(NTE_BAD_PROV_TYPE);
}

TEST_F(ExportPfxFromStoreTest, ASkippedLastKeySetsTheProvidersTypeAllTheSame) {
    Keys().Script(L"key1", Scripted(k2012_256));
    Add(Chain().leaf, L"key1", std::nullopt, 2);
    ScriptedKey key = Scripted(k2012_256);
    key.isReachable = false;
    Keys().Script(L"unreachable", key);
    Add(Chain().otherLeaf, L"unreachable", std::nullopt, 77);
    ExpectError(NTE_PROV_TYPE_NOT_DEF);
}

TEST_F(ExportPfxFromStoreTest, WithoutAProviderNameTheRecordsTypeIsTaken) {
    Keys().Script(L"key1", Scripted(k2012_256));
    Add(Chain().leaf, L"key1", std::nullopt, 2);
    ++keys_;
    Expect(k2012_256, {1, 2, 3});
    ExpectDocument();
    Add(Chain().otherLeaf, L"key1", std::nullopt, 77);
    ExpectError(NTE_PROV_TYPE_NOT_DEF);
}

TEST_F(ExportPfxFromStoreTest, AContextThatIsKeptWithTheCertificateStaysOpen) {
    ScriptedKey key = Scripted(k2012_256);
    key.isKept = true;
    AddScripted(Chain().leaf, L"key1", key);
    ++keys_;
    Expect(k2012_256, {1, 2, 3});
    ExpectDocument();
    EXPECT_EQ(Calls().Count("CryptContextAddRef"), 1);
}

TEST_F(ExportPfxFromStoreTest, AKeptContextThatTakesNoReferenceSkipsTheKey) {
    ScriptedKey key = Scripted(k2012_256);
    key.isKept = true;
    AddScripted(Chain().leaf, L"key1", key);
    ++keys_;
    expected_.certificates.push_back({Chain().leaf, true});
    Calls().FailNamed("CryptContextAddRef", 1, kInjected);
    ExpectDocument();
}

TEST_F(ExportPfxFromStoreTest, TheKeySpecificationThatIsWrittenBackFindsTheKey) {
    ScriptedKey key = Scripted(k2012_256);
    key.keySpec = AT_SIGNATURE;
    AddScripted(Chain().leaf, L"key1", key);
    ++keys_;
    Expect(k2012_256, {1, 2, 3});
    ExpectDocument();
}

TEST_F(ExportPfxFromStoreTest, KeysAreReachedByTheRecordsOfTheirCertificates) {
    AddKey(k2012_256);
    ASSERT_EQ(Export(0, 1), 1);
    EXPECT_EQ(Calls().Parameters("CryptAcquireCertificatePrivateKey"),
              std::vector<DWORD>{CRYPT_ACQUIRE_USE_PROV_INFO_FLAG});
}

// It may change with the set.
TEST_F(ExportPfxFromStoreTest, TheVectorIsReadAfterTheParameterSetWasGiven) {
    AddKey(k2012_256);
    ASSERT_EQ(Export(0, 1), 1);
    std::vector<DWORD> asked;
    for (std::size_t i = 0; i < Calls().Log().size(); ++i) {
        const DWORD parameter = Calls().Details()[i].parameter;
        if ((Calls().Log()[i] == "CryptSetKeyParam" && parameter == 104) ||
            (Calls().Log()[i] == "CryptGetKeyParam" && parameter == KP_IV)) {
            asked.push_back(parameter);
        }
    }
    // Of the key and of the certificates.
    EXPECT_EQ(asked, (std::vector<DWORD>{104, KP_IV, KP_IV, 104, KP_IV, KP_IV}));
}

TEST_F(ExportPfxFromStoreTest, AVectorIsWrittenAsLongAsTheProviderTellsIt) {
    AddCertificate(Chain().root);
    const Bytes vector = {0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9};
    Keys().ReplaceVector(vector);
    ASSERT_EQ(Export(), 1);
    const Bytes field = test_support::Element(0x04, vector);
    EXPECT_NE(std::search(document_.begin(), document_.end(), field.begin(), field.end()),
              document_.end());
}

TEST_F(ExportPfxFromStoreTest, AVectorThatCannotBeReadEndsTheExport) {
    AddKey(k2012_256);
    ASSERT_EQ(Export(0, 1), 1);
    const auto asked = Calls().Parameters("CryptGetKeyParam");
    ASSERT_EQ(std::ranges::count(asked, DWORD{KP_IV}), 4);
    for (std::size_t i = 0; i < asked.size(); ++i) {
        if (asked[i] == KP_IV) {
            Calls().FailNamed("CryptGetKeyParam", static_cast<int>(i) + 1, kInjected);
            ExpectError(static_cast<HRESULT>(kInjected));
        }
    }
}

TEST_F(ExportPfxFromStoreTest, CertificatesThatCannotBeEncryptedEndTheExport) {
    AddCertificate(Chain().root);
    for (const int n : {1, 2}) {
        Calls().FailNamed("CryptEncrypt", n, kInjected);
        ExpectError(static_cast<HRESULT>(kInjected));
    }
}

TEST_F(ExportPfxFromStoreTest, AnAlgorithmThatCannotBeReadIsABadKey) {
    ScriptedKey key = Scripted(k2012_256);
    key.isAlgorithmReadable = false;
    AddScripted(Chain().leaf, L"key", key);
    ExpectError(NTE_BAD_KEY);
}

TEST_F(ExportPfxFromStoreTest, AnotherAlgorithmIsABadAlgorithm) {
    AddScripted(Chain().leaf, L"key", Scripted(0x2400));
    ExpectError(NTE_BAD_ALGID);
}

TEST_F(ExportPfxFromStoreTest, AKeyThatCannotBeWrappedEndsTheExport) {
    ScriptedKey key = Scripted(k2012_256);
    key.permissions = 0;
    AddScripted(Chain().leaf, L"key", key);
    ExpectError(static_cast<HRESULT>(0x80095000));
    key.permissions = CRYPT_EXPORT;
    key.blob.resize(8);
    Keys().Script(L"key", key);
    ExpectError(NTE_BAD_DATA);
    key.blob = {8, 0x11, 0, 0, 0, 0, 0, 0, 1};
    Keys().Script(L"key", key);
    ExpectError(NTE_BAD_KEY_STATE);
}

TEST_F(ExportPfxFromStoreTest, APasswordOf33BytesIsInvalidBeforeAnyDerivation) {
    AddKey(k2012_256);
    expected_.password = std::string(33, 'p');
    ExpectError(static_cast<HRESULT>(ERROR_INVALID_PASSWORD));
    EXPECT_EQ(Calls().Count("CryptGenKey"), 0);
}

TEST_F(ExportPfxFromStoreTest, AnEmptyPasswordIsInvalid) {
    AddKey(k2012_256);
    expected_.password.clear();
    ExpectError(static_cast<HRESULT>(ERROR_INVALID_PASSWORD));
}

TEST_F(ExportPfxFromStoreTest, APasswordOf32BytesIsTaken) {
    AddKey(k2012_256);
    expected_.password = "шестнадцатьбуквц";
    ASSERT_EQ(expected_.password.size(), 32u);
    ExpectDocument();
}

TEST_F(ExportPfxFromStoreTest, ARecordThatCannotBeReadEndsTheWalkAndNotTheExport) {
    AddKey(k2012_256);
    AddKey(k2012_256);
    expected_.keys.pop_back();
    keys_ = 1;
    // Each record takes two reads.
    Calls().FailNamed("CertGetCertificateContextProperty", 4, kInjected);
    ExpectDocument();
}

TEST_F(ExportPfxFromStoreTest, WithTheFlagABagBearsTheNamesOfItsOwnKey) {
    ScriptedKey first = Scripted(k2012_256, {1});
    // What is behind the NUL is no part of it.
    first.friendlyName = std::string("Первый\0rest", sizeof("Первый\0rest") - 1);
    ScriptedKey second = Scripted(k2001, {2});
    second.friendlyName = "no terminator";
    ScriptedKey third = Scripted(k2001, {3});
    AddScripted(Chain().leaf, L"key1", first);
    AddScripted(Chain().leaf, L"key2", second);
    AddScripted(Chain().leaf, L"key3", third);
    const std::string provider = "Velmorix Cryptographic Service Provider";
    expected_.keys = {{1, kHash512, {1}, provider, "Первый"},
                      {2, kHash94, {2}, provider, "no terminator"},
                      {3, kHash94, {3}, provider, ""}};
    expected_.certificates.assign(3, {Chain().leaf, true});
    keys_ = 3;
    ExpectDocument(0x10);
}

TEST_F(ExportPfxFromStoreTest, OtherFlagsCountForNothing) {
    AddKey(k2012_256);
    ExpectDocument(~DWORD{0x10});
}

TEST_F(ExportPfxFromStoreTest, AFriendlyNameThatCannotBeReadEndsTheExport) {
    ScriptedKey key = Scripted(k2012_256);
    key.friendlyName = std::string("name", 5);
    AddScripted(Chain().leaf, L"key", key);
    // The first asks for the provider's type, the second for the name's length.
    Calls().FailNamed("CryptGetProvParam", 3, kInjected);
    ExpectError(static_cast<HRESULT>(kInjected));
}

TEST_F(ExportPfxFromStoreTest, TwoRunsDifferInTheirSaltsAlone) {
    AddKey(k2012_256);
    ASSERT_EQ(Export(), 1);
    const Bytes first = document_;
    ASSERT_EQ(Export(), 1);
    EXPECT_NE(document_, first);
    EXPECT_EQ(document_.size(), first.size());
    Calls().ReplaceRandom(9);
    ASSERT_EQ(Export(), 1);
    const Bytes fixed = document_;
    ASSERT_EQ(Export(), 1);
    EXPECT_EQ(document_, fixed);
}

TEST_F(ExportPfxFromStoreTest, KeysShareTheFirstOnesSaltAndTheCertificatesHaveAnother) {
    AddKey(k2012_256);
    AddKey(k2012_256);
    ASSERT_EQ(Export(), 1);
    // As often as the lengths and texts of the certificates are encrypted: twice an attempt.
    EXPECT_EQ(Calls().Count("CryptGenRandom"), Calls().Count("CryptEncrypt"));
}

TEST_F(ExportPfxFromStoreTest, TheSizeAloneIsThatOfTheDocument) {
    AddKey(k2001, Bytes(100, 0xEE));
    AddKey(k2012_512, Bytes(300, 0xDD));
    AddCertificate(Chain().issuer);
    Calls().ReplaceRandom(kSaltOctet);
    ASSERT_EQ(Export(0x10, 0), 1);
    const Bytes whole = document_;
    Calls().Reset();
    ASSERT_EQ(Export(0x10, 1), 1);
    EXPECT_EQ(document_.size(), whole.size());
    EXPECT_NE(document_, whole);
    // Once a key, as the certificates are encrypted twice an attempt.
    EXPECT_EQ(Calls().Count("CryptExportKey"), Calls().Count("CryptEncrypt"));
}

TEST_F(ExportPfxFromStoreTest, ACipherTextThatIsSaidToBeLongerEndsInZeros) {
    AddCertificate(Chain().root);
    Calls().ReplaceRandom(kSaltOctet);
    ASSERT_EQ(Export(), 1);
    const std::size_t size = document_.size();
    Keys().ReplaceEncryptedLength(static_cast<DWORD>(expected_.SafeContents().size()) + 5);
    ASSERT_EQ(Export(), 1);
    EXPECT_EQ(document_.size(), size + 5);
}

TEST_F(ExportPfxFromStoreTest, ACipherTextThatIsSaidToBeShorterIsWholeAllTheSame) {
    AddCertificate(Chain().root);
    Keys().ReplaceEncryptedLength(1);
    ExpectDocument();
}

TEST_F(ExportPfxFromStoreTest, ManyCertificatesAreMoreThanTheCiphersKeyLasts) {
    for (int i = 0; i < 40; ++i) {
        AddCertificate(Chain().root);
    }
    ASSERT_GT(expected_.SafeContents().size(), 4096u);
    ExpectDocument();
}

// 00 04 1D: a zero that gets lost, and an element.
Bytes SaltThatIsChanged() {
    Bytes salt(32, kSaltOctet);
    salt[0] = 0x00;
    salt[1] = 0x04;
    salt[2] = 29;
    return salt;
}

// With draw number `draw` from 1, of the keys' salt and the certificates' in turn, replaced by that
// salt.
class MadeAgain : public ExportPfxFromStoreTest, public ::testing::WithParamInterface<int> {};

TEST_P(MadeAgain, ADocumentOneOfWhoseSaltsGetsChanged) {
    AddKey(k2012_256);
    int draw = 0;
    Calls().ReplaceRandom([&](std::span<BYTE> octets) {
        ASSERT_EQ(octets.size(), 32u);
        const Bytes salt =
            ++draw == GetParam() ? SaltThatIsChanged() : Bytes(32, static_cast<BYTE>(draw));
        std::ranges::copy(salt, octets.begin());
    });
    ASSERT_EQ(Export(), 1);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(draw, 4);
    expected_.keySalt = Bytes(32, 3);
    expected_.certificateSalt = Bytes(32, 4);
    TakeMacSalt();
    EXPECT_EQ(document_, expected_.Build());
    // The walk's references of both attempts.
    ExpectNothingOpen(2);
}

INSTANTIATE_TEST_SUITE_P(Salts, MadeAgain, ::testing::Values(1, 2));

// 04 01 07 reads as an element, and the zero before it would get lost: another wrapped key. This
// key is wrapped in the same way each time.
TEST_F(ExportPfxFromStoreTest, ADocumentThatCannotBeReadIsBadDataAfterEightAttempts) {
    AddKey(k2012_256, {0, 4, 1, 7});
    Calls().ReplaceRandom(kSaltOctet);
    ExpectError(NTE_BAD_DATA);
    EXPECT_EQ(Calls().Count("CryptEncrypt"), 2 * 8);
}

// The same of an initial vector: 04 05 and five octets.
TEST_F(ExportPfxFromStoreTest, AVectorThatIsChangedEachTimeIsBadDataAfterEightAttempts) {
    AddCertificate(Chain().root);
    Keys().ReplaceVector({0, 4, 5, 1, 2, 3, 4, 5});
    ExpectError(NTE_BAD_DATA);
    EXPECT_EQ(Calls().Count("CryptEncrypt"), 2 * 8);
}

TEST_F(ExportPfxFromStoreTest, CertificatesWhoseCipherTextWouldBeChangedAreEncryptedAgain) {
    AddCertificate(Chain().root);
    Calls().ReplaceRandom(kSaltOctet);
    int changed = 0;
    Keys().ReplaceCipherText([&changed](std::span<BYTE> text) {
        if (changed++ == 0) {
            // A zero, and an OCTET STRING of all that is left.
            const std::size_t left = text.size() - 5;
            const Bytes start = {0, 4, 0x82, static_cast<BYTE>(left >> 8), static_cast<BYTE>(left)};
            std::ranges::copy(start, text.begin());
        }
    });
    EXPECT_EQ(Export(), 1);
    EXPECT_EQ(changed, 2);
    EXPECT_EQ(Calls().Count("CryptEncrypt"), 2 * 2);
    ExpectDocument();
}

TEST_F(ExportPfxFromStoreTest, OneKeyThatCannotBeReadIsEnoughForBadData) {
    AddKey(k2012_256, {0, 4, 1, 7});
    AddKey(k2012_256, {1, 2, 3});
    Calls().ReplaceRandom(kSaltOctet);
    ExpectError(NTE_BAD_DATA);
}

TEST_F(ExportPfxFromStoreTest, TheSizeIsToldWhateverTheSalts) {
    AddKey(k2012_256);
    const Bytes salt = SaltThatIsChanged();
    Calls().ReplaceRandom([&](std::span<BYTE> octets) { std::ranges::copy(salt, octets.begin()); });
    EXPECT_EQ(Export(0, 1), 1);
    EXPECT_EQ(Calls().Count("CryptEncrypt"), 2);
}

TEST_F(ExportPfxFromStoreTest, TheSizeOfADocumentThatCannotBeReadIsToldAllTheSame) {
    AddKey(k2012_256, {0, 4, 1, 7});
    EXPECT_EQ(Export(0, 1), 1);
    EXPECT_EQ(Calls().Count("CryptEncrypt"), 2);
}

TEST_F(ExportPfxFromStoreTest, ACertificateThatAReaderWouldChangeIsBadDataAtOnce) {
    AddCertificate(Chain().leaf);
    const test_support::Certificate leaf(store_.First());
    BYTE* const end = leaf->pbCertEncoded + leaf->cbCertEncoded;
    const Bytes header = {0x04, 0x16, 0x04, 0x14};
    BYTE* const found = std::search(leaf->pbCertEncoded, end, header.begin(), header.end());
    ASSERT_NE(found, end);
    // The subject's key identifier: a zero that gets lost, and an element.
    const Bytes start = {0x00, 0x04, 17};
    std::ranges::copy(start, found + header.size());
    ExpectError(NTE_BAD_DATA);
    EXPECT_EQ(Calls().Count("CryptEncrypt"), 0);
}

}  // namespace
