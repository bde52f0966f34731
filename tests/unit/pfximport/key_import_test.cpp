#include "pfximport/key_import.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "pfxcrypto/handle_guards.h"
#include "pfxcrypto/pfx_constants.h"
#include "support/import_fixture.h"

namespace {

using pkisdk::CertStore;
using pkisdk::ProviderContext;
using test_support::Attribute;
using test_support::Bytes;
using test_support::CertificateBag;
using test_support::DocumentOf;
using test_support::Element;
using test_support::Encryption;
using test_support::FriendlyName;
using test_support::Join;
using test_support::kBadAlgorithm;
using test_support::kBadData;
using test_support::kCorrupt;
using test_support::KeyBag;
using test_support::KeyPlace;
using test_support::kInjected;
using test_support::LocalKeyId;
using test_support::MakeCertificate;
using test_support::Oid;
using test_support::PlainContentInfo;
using test_support::PrivateKey;
using test_support::Sha1Of;
using test_support::ToList;

constexpr char kMachineKeySetOid[] = "1.3.6.1.4.1.311.17.2";

// The certificates come as if decrypted, so that a test needs no derivation but its keys'.
class AddPfxKeysToCSPTest : public test_support::ImportTest {
  protected:
    void SetUp() override {
        ImportTest::SetUp();
        *store_.Put() = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    }
    void TearDown() override {
        store_.Reset();
        ImportTest::TearDown();
    }

    // Adds the certificate to the store too.
    void Certify(const Bytes& certificate, const Bytes& localKeyId) {
        certificateBags_.push_back(CertificateBag{certificate, {LocalKeyId(localKeyId)}}.Build());
        EXPECT_TRUE(CertAddEncodedCertificateToStore(
            store_.Get(), X509_ASN_ENCODING, certificate.data(),
            static_cast<DWORD>(certificate.size()), CERT_STORE_ADD_USE_EXISTING, nullptr));
    }
    int Import(const std::vector<Bytes>& keyBags, DWORD flags = 0, bool isSilent = false) {
        SetLastError(kInjected);
        return pkisdk::AddPfxKeysToCSP(
            "Password1", "not read", ToList(DocumentOf({PlainContentInfo(keyBags)})), store_.Get(),
            ToList(Element(0x30, test_support::JoinAll(certificateBags_))), flags,
            isSilent ? 1 : 0);
    }
    void ExpectSuccess(const std::vector<Bytes>& keyBags, DWORD flags = 0, bool isSilent = false) {
        EXPECT_EQ(Import(keyBags, flags, isSilent), 1) << std::hex << GetLastError();
        EXPECT_EQ(GetLastError(), 0u);
    }
    void ExpectError(const std::vector<Bytes>& keyBags, DWORD error) {
        EXPECT_EQ(Import(keyBags), 0);
        EXPECT_EQ(GetLastError(), error) << std::hex << GetLastError();
        EXPECT_EQ(Calls().OpenContexts(), 0);
        EXPECT_EQ(Calls().OpenKeys(), 0);
        EXPECT_EQ(Calls().OpenCertificates(), 0);
    }
    // The key in the container of the first certificate that is tied to one.
    bool TiedKeyOpens() const {
        for (const auto& place : KeyPlaces()) {
            if (place) {
                const std::string name(place->container.begin(), place->container.end());
                return KeyOpens(name.c_str(), place->flags);
            }
        }
        return false;
    }
    static bool KeyOpens(const char* container, DWORD flags = 0) {
        ProviderContext provider;
        pkisdk::ProviderKey key;
        return CryptAcquireContextA(provider.Put(), container, pkisdk::kProviderName,
                                    pkisdk::kProviderType, CRYPT_SILENT | flags) &&
               CryptGetUserKey(provider.Get(), AT_KEYEXCHANGE, key.Put());
    }
    static std::string UniqueNameOf(const char* container) {
        ProviderContext provider;
        char unique[300] = {};
        DWORD size = sizeof unique;
        EXPECT_TRUE(CryptAcquireContextA(provider.Put(), container, pkisdk::kProviderName,
                                         pkisdk::kProviderType, CRYPT_SILENT));
        EXPECT_TRUE(CryptGetProvParam(provider.Get(), PP_UNIQUE_CONTAINER,
                                      reinterpret_cast<BYTE*>(unique), &size, 0));
        return unique;
    }
    static bool KeySigns(const char* container, const char* pin) {
        ProviderContext provider;
        pkisdk::ProviderHash hash;
        DWORD size = 0;
        return CryptAcquireContextA(provider.Put(), container, pkisdk::kProviderName,
                                    pkisdk::kProviderType, CRYPT_SILENT) &&
               (pin == nullptr || CryptSetProvParam(provider.Get(), PP_SIGNATURE_PIN,
                                                    reinterpret_cast<const BYTE*>(pin), 0)) &&
               CryptCreateHash(provider.Get(), pkisdk::kGostR3411_256, 0, 0, hash.Put()) &&
               CryptHashData(hash.Get(), reinterpret_cast<const BYTE*>("data"), 4, 0) &&
               CryptSignHashA(hash.Get(), AT_KEYEXCHANGE, nullptr, 0, nullptr, &size) &&
               CryptSignHashA(hash.Get(), AT_KEYEXCHANGE, nullptr, 0, Bytes(size).data(), &size);
    }
    std::vector<std::optional<KeyPlace>> KeyPlaces() const {
        return test_support::KeyPlacesOf(store_.Get());
    }
    static Bytes Key(const std::vector<Bytes>& attributes, std::uint8_t value = 1) {
        KeyBag bag;
        bag.privateKey = PrivateKey(value);
        bag.attributes = attributes;
        return bag.Build();
    }

    CertStore store_;
    std::vector<Bytes> certificateBags_;
    const Bytes one_ = MakeCertificate("one", "ca");
    const Bytes two_ = MakeCertificate("two", "ca", 2);
};

TEST_F(AddPfxKeysToCSPTest, AKeyGoesToANewContainerAndItsCertificateTellsWhere) {
    Certify(one_, {5});
    Certify(two_, {6});
    ExpectSuccess({Key({LocalKeyId({6}), FriendlyName(u"my key")})});
    EXPECT_EQ(UserContainers(), 1u);
    EXPECT_TRUE(KeyOpens("my key"));
    const auto places = KeyPlaces();
    EXPECT_FALSE(places[0].has_value());
    ASSERT_TRUE(places[1].has_value());
    EXPECT_NE(places[1]->container, L"my key");
    EXPECT_EQ(places[1]->provider, L"Velmorix Cryptographic Service Provider");
    EXPECT_EQ(places[1]->type, 2u);
    EXPECT_EQ(places[1]->flags, 0u);
    EXPECT_EQ(places[1]->parameters, 0u);
    EXPECT_EQ(places[1]->keySpec, DWORD{AT_KEYEXCHANGE});
    EXPECT_TRUE(TiedKeyOpens());
}

TEST_F(AddPfxKeysToCSPTest, TheProviderGetsAHeaderAndTheDocumentsOctets) {
    KeyBag bag;
    ExpectSuccess({bag.Build()});
    ASSERT_EQ(Calls().KeyImports().size(), 1u);
    EXPECT_EQ(Calls().KeyImports()[0].blob,
              Join({{0x07, 0x11, 0, 0, 0, 0, 0, 0}, bag.EncryptedKey()}));
}

TEST_F(AddPfxKeysToCSPTest, TheCertificateIsKeptBesideItsKey) {
    Certify(one_, {1, 0, 0, 0});
    ExpectSuccess({Key({LocalKeyId({1, 0, 0, 0}), FriendlyName(u"named")})});
    ProviderContext provider;
    pkisdk::ProviderKey key;
    ASSERT_TRUE(CryptAcquireContextA(provider.Put(), "named", pkisdk::kProviderName,
                                     pkisdk::kProviderType, CRYPT_SILENT));
    ASSERT_TRUE(CryptGetUserKey(provider.Get(), AT_KEYEXCHANGE, key.Put()));
    DWORD size = 0;
    ASSERT_TRUE(CryptGetKeyParam(key.Get(), KP_CERTIFICATE, nullptr, &size, 0));
    Bytes kept(size);
    ASSERT_TRUE(CryptGetKeyParam(key.Get(), KP_CERTIFICATE, kept.data(), &size, 0));
    EXPECT_EQ(kept, one_);
}

TEST_F(AddPfxKeysToCSPTest, OnlyWithTheFlagAreKeysExportable) {
    ExpectSuccess({Key({FriendlyName(u"kept")})});
    ExpectSuccess({Key({FriendlyName(u"free")})}, CRYPT_EXPORTABLE);
    ExpectSuccess({Key({FriendlyName(u"other flags")})}, 0xFFFFFFFE & ~DWORD{CRYPT_MACHINE_KEYSET});
    ASSERT_EQ(Calls().KeyImports().size(), 3u);
    EXPECT_EQ(Calls().KeyImports()[0].flags, 0u);
    EXPECT_EQ(Calls().KeyImports()[1].flags, 1u);
    EXPECT_EQ(Calls().KeyImports()[2].flags, 0u);
}

TEST_F(AddPfxKeysToCSPTest, AFriendlyNameThatIsTakenGivesWayToARandomOne) {
    Certify(one_, {1, 0, 0, 0});
    ExpectSuccess({Key({FriendlyName(u"taken")})});
    ExpectSuccess({Key({LocalKeyId({1, 0, 0, 0}), FriendlyName(u"taken")}, 2)});
    EXPECT_EQ(UserContainers(), 2u);
    const auto created = Calls().Acquisitions().back();
    EXPECT_THAT(created.container, ::testing::MatchesRegex("rnd-.{36}"));
    EXPECT_EQ(created.flags, DWORD{CRYPT_NEWKEYSET});
    EXPECT_TRUE(TiedKeyOpens());
    // The name that the certificate tells opens the very container that was created.
    const std::string name = UniqueNameOf(created.container.c_str());
    EXPECT_EQ(KeyPlaces()[0]->container, std::wstring(name.begin(), name.end()));
}

TEST_F(AddPfxKeysToCSPTest, SilentlyThePasswordIsTheContainersPin) {
    ExpectSuccess({Key({FriendlyName(u"silent")})}, 0, true);
    EXPECT_EQ(Calls().Acquisitions().back().flags, DWORD{CRYPT_NEWKEYSET | CRYPT_SILENT});
    ASSERT_EQ(Calls().ProviderParams().size(), 1u);
    EXPECT_EQ(Calls().ProviderParams()[0].parameter, DWORD{PP_SIGNATURE_PIN});
    EXPECT_EQ(Calls().ProviderParams()[0].text, "Password1");
    EXPECT_FALSE(KeySigns("silent", nullptr));
    EXPECT_FALSE(KeySigns("silent", "password1"));
    EXPECT_TRUE(KeySigns("silent", "Password1"));
}

TEST_F(AddPfxKeysToCSPTest, EqualIdentifiersOf20OctetsBindWithoutAHash) {
    const Bytes id(20, 0x77);
    Certify(one_, id);
    ExpectSuccess({Key({LocalKeyId(id)})});
    EXPECT_TRUE(KeyPlaces()[0].has_value());
    EXPECT_EQ(Calls().Count("CryptHashCertificate"), 0);
}

TEST_F(AddPfxKeysToCSPTest, ANumberBindsAKeyThatHasTheCertificatesHash) {
    Certify(one_, {1, 0, 0, 0});
    ExpectSuccess({Key({LocalKeyId(Sha1Of(one_))})});
    EXPECT_TRUE(KeyPlaces()[0].has_value());
}

TEST_F(AddPfxKeysToCSPTest, ANumberDoesNotBindAKeyWithAnotherIdentifier) {
    Certify(one_, {1, 0, 0, 0});
    ExpectSuccess({Key({LocalKeyId(Bytes(20, 3))})});
    EXPECT_FALSE(KeyPlaces()[0].has_value());
    EXPECT_EQ(UserContainers(), 1u);
}

TEST_F(AddPfxKeysToCSPTest, TheNumberCountsBagsWhetherOrNotTheyHoldAKey) {
    Certify(one_, {2, 0, 0, 0});
    const Bytes keyless = Element(0x30, Oid("1.2.840.113549.1.12.10.1.2"));
    ExpectSuccess({keyless, Key({LocalKeyId(Sha1Of(one_))})});
    EXPECT_EQ(UserContainers(), 1u);
    EXPECT_TRUE(KeyPlaces()[0].has_value());
}

// The identifier of the key before still stands then, and the tie fails for want of a key.
TEST_F(AddPfxKeysToCSPTest, ABagWithoutAKeyLooksForACertificateAndTiesNone) {
    Certify(one_, {5});
    const Bytes keyless = Element(0x30, Oid("1.2.840.113549.1.12.10.1.2"));
    ExpectSuccess({Key({LocalKeyId({5}), FriendlyName(u"first")}), keyless});
    EXPECT_EQ(std::ranges::count(Calls().KeyParams(), DWORD{KP_CERTIFICATE}), 2);
    EXPECT_EQ(Calls().Count("CertSetCertificateContextProperty"), 1);
    const std::string name = UniqueNameOf("first");
    EXPECT_EQ(KeyPlaces()[0]->container, std::wstring(name.begin(), name.end()));
    EXPECT_EQ(UserContainers(), 1u);
}

// They have issuer and serial number in common, which is all that is compared.
TEST_F(AddPfxKeysToCSPTest, OfCertificatesThatCompareEqualTheFirstInTheStoreIsTied) {
    const Bytes renewed = MakeCertificate("renewed", "ca");
    Certify(one_, {7});
    EXPECT_TRUE(CertAddEncodedCertificateToStore(store_.Get(), X509_ASN_ENCODING, renewed.data(),
                                                 static_cast<DWORD>(renewed.size()),
                                                 CERT_STORE_ADD_ALWAYS, nullptr));
    certificateBags_ = {CertificateBag{renewed, {LocalKeyId({5})}}.Build()};
    ExpectSuccess({Key({LocalKeyId({5})})});
    EXPECT_EQ(test_support::CertificatesOf(store_.Get()), (std::vector<Bytes>{one_, renewed}));
    EXPECT_TRUE(KeyPlaces()[0].has_value());
    EXPECT_FALSE(KeyPlaces()[1].has_value());
}

TEST_F(AddPfxKeysToCSPTest, TheMachinesMarkOnTheFirstKeyTakesBothThere) {
    Certify(one_, {1});
    Certify(two_, {2});
    ExpectSuccess(
        {Key({LocalKeyId({1}), Attribute(kMachineKeySetOid, {})}), Key({LocalKeyId({2})}, 2)});
    EXPECT_EQ(UserContainers(), 0u);
    EXPECT_EQ(MachineContainers(), 2u);
    for (const auto& place : KeyPlaces()) {
        ASSERT_TRUE(place.has_value());
        EXPECT_EQ(place->flags, DWORD{CRYPT_MACHINE_KEYSET});
    }
}

TEST_F(AddPfxKeysToCSPTest, TheMachinesMarkOnTheSecondKeyLeavesTheFirst) {
    ExpectSuccess({Key({}), Key({FriendlyName(u"machine"), Attribute(kMachineKeySetOid, {})}, 2)});
    EXPECT_EQ(UserContainers(), 1u);
    EXPECT_EQ(MachineContainers(), 1u);
}

TEST_F(AddPfxKeysToCSPTest, TheMachinesFlagTakesEveryKeyThere) {
    ExpectSuccess({Key({})}, CRYPT_MACHINE_KEYSET);
    EXPECT_EQ(UserContainers(), 0u);
    EXPECT_EQ(MachineContainers(), 1u);
}

TEST_F(AddPfxKeysToCSPTest, ABagWithoutANameDoesNotTakeTheOneBefore) {
    ExpectSuccess({Key({FriendlyName(u"named")}), Key({}, 2), Key({}, 3)});
    EXPECT_EQ(UserContainers(), 3u);
    int created = 0;
    for (const auto& acquisition : Calls().Acquisitions()) {
        if (acquisition.flags == CRYPT_NEWKEYSET) {
            EXPECT_THAT(acquisition.container,
                        ::testing::MatchesRegex(created == 0 ? "named" : "rnd-.{36}"));
            ++created;
        }
    }
    EXPECT_EQ(created, 3);
    // Two probes and a creation for each: the second key's first probe is of the name before.
    EXPECT_EQ(Calls().Acquisitions()[3].container, UniqueNameOf("named"));
}

TEST_F(AddPfxKeysToCSPTest, WithoutAKeyBagItIsSuccessIfThereAreTwoDataContents) {
    ExpectSuccess({});
    EXPECT_EQ(
        pkisdk::AddPfxKeysToCSP("Password1", "", ToList(DocumentOf({})), store_.Get(), {}, 0, 0),
        0);
    EXPECT_EQ(GetLastError(), kBadData);
}

TEST_F(AddPfxKeysToCSPTest, WithoutAStoreItIsBadData) {
    EXPECT_EQ(pkisdk::AddPfxKeysToCSP("Password1", "", ToList(DocumentOf({PlainContentInfo({})})),
                                      nullptr, {}, 0, 0),
              0);
    EXPECT_EQ(GetLastError(), kBadData);
}

TEST_F(AddPfxKeysToCSPTest, AnAttributeWithoutAValueEndsTheCallAfterItsKey) {
    Certify(one_, {1});
    for (const char* const oid : {"1.2.840.113549.1.9.20", "1.2.840.113549.1.9.21"}) {
        const std::size_t before = UserContainers();
        ExpectError({Key({}), Key({LocalKeyId({1}), Attribute(oid, {})}, 2)}, kCorrupt);
        EXPECT_EQ(UserContainers(), before + 2);
        EXPECT_TRUE(KeyOpens(Calls().Acquisitions().back().container.c_str()));
        EXPECT_FALSE(KeyPlaces()[0].has_value());
    }
    // What follows the bag is not imported.
    const std::size_t before = UserContainers();
    ExpectError({Key({Attribute("1.2.840.113549.1.9.20", {})}), Key({}, 2)}, kCorrupt);
    EXPECT_EQ(UserContainers(), before + 1);
}

TEST_F(AddPfxKeysToCSPTest, AProvidersFailureIsToldOverAnAttributeWithoutAValue) {
    const std::vector<Bytes> keys = {Key({Attribute("1.2.840.113549.1.9.21", {})})};
    Calls().FailNamed("CryptImportKey", 1, kInjected + 1);
    ExpectError(keys, kInjected + 1);
    EXPECT_EQ(UserContainers(), 1u);
    // Behind the two probes.
    Calls().FailNamed("CryptAcquireContextA", 3, kInjected + 2);
    ExpectError(keys, kInjected + 2);
    EXPECT_EQ(UserContainers(), 1u);
}

TEST_F(AddPfxKeysToCSPTest, AnUnknownCipherEndsTheCall) {
    KeyBag unknown;
    unknown.encryption.cipher = "1.2.3";
    ExpectError({Key({}), unknown.Build(), Key({}, 2)}, kBadAlgorithm);
    EXPECT_EQ(UserContainers(), 1u);
}

TEST_F(AddPfxKeysToCSPTest, AnUnknownFunctionEndsTheCall) {
    KeyBag unknown;
    unknown.encryption.prf = "1.2.840.113549.2.9";
    ExpectError({Key({}), unknown.Build(), Key({}, 2)}, kBadAlgorithm);
    EXPECT_EQ(UserContainers(), 1u);
}

TEST_F(AddPfxKeysToCSPTest, EveryFunctionAndParameterSetImports) {
    for (const auto& [prf, parameterSet] :
         {std::pair{"1.2.643.2.2.10", "1.2.643.2.2.31.2"},
          std::pair{"1.2.643.7.1.1.4.2", "1.2.643.7.1.2.5.1.1"}}) {
        KeyBag bag;
        bag.encryption.prf = prf;
        bag.encryption.parameterSet = parameterSet;
        ExpectSuccess({bag.Build()});
    }
    EXPECT_EQ(UserContainers(), 2u);
}

TEST_F(AddPfxKeysToCSPTest, AMalformedBagIsCorruptAndEarlierKeysStay) {
    const Bytes oid = Oid("1.2.840.113549.1.12.10.1.2");
    const Bytes kMalformed[] = {
        Element(0x30, Join({oid, Element(0xA0, {})})),
        Element(0x30, Join({oid, Element(0xA0, Element(0x30, {})), Element(0x31, {})})),
        Element(0x30, Join({oid, Element(0xA0, Element(0x04, {1}))})),
    };
    std::size_t before = 0;
    for (const Bytes& malformed : kMalformed) {
        ExpectError({Key({}), malformed, Key({}, 2)}, kCorrupt);
        EXPECT_EQ(UserContainers(), ++before);
    }
}

TEST_F(AddPfxKeysToCSPTest, AMalformedAttributeIsCorruptAndItsKeyIsNotImported) {
    ExpectError({Key({LocalKeyId({1}), Element(0x30, {})})}, kCorrupt);
    ExpectError({Key({Attribute("1.2.840.113549.1.9.21", {Element(0x02, {1})})})}, kCorrupt);
    EXPECT_EQ(UserContainers(), 0u);
}

TEST_F(AddPfxKeysToCSPTest, AFunctionWithoutParametersIsCorrupt) {
    KeyBag bag;
    bag.encryption.withPrfParameters = false;
    ExpectError({bag.Build()}, kCorrupt);
    EXPECT_EQ(UserContainers(), 0u);
}

TEST_F(AddPfxKeysToCSPTest, AKeyThatIsNoneLeavesAnEmptyContainer) {
    KeyBag bag;
    bag.privateKey = {0x30, 0x00};
    bag.attributes = {FriendlyName(u"empty")};
    ExpectError({Key({}), bag.Build(), Key({}, 2)}, kBadData);
    EXPECT_EQ(UserContainers(), 2u);
    ProviderContext provider;
    EXPECT_TRUE(CryptAcquireContextA(provider.Put(), "empty", pkisdk::kProviderName,
                                     pkisdk::kProviderType, CRYPT_SILENT));
    EXPECT_FALSE(KeyOpens("empty"));
}

TEST_F(AddPfxKeysToCSPTest, AVectorThatIsTooShortLeavesAnEmptyContainer) {
    KeyBag bag;
    Encryption written = bag.encryption;
    written.vector.resize(7);
    const Bytes info =
        Element(0x30, Join({written.AlgorithmIdentifier(), Element(0x04, bag.EncryptedKey())}));
    ExpectError({Element(0x30, Join({Oid("1.2.840.113549.1.12.10.1.2"), Element(0xA0, info),
                                     Element(0x31, {})}))},
                kBadData);
    EXPECT_EQ(UserContainers(), 1u);
}

// The bag's reading refuses it, before a container is made.
TEST_F(AddPfxKeysToCSPTest, AParameterSetThatIsNoIdentifierIsCorruptAndLeavesNoContainer) {
    Bytes damaged = KeyBag().Build();
    const Bytes set = Oid(Encryption().parameterSet);
    const auto at = std::search(damaged.begin(), damaged.end(), set.begin(), set.end());
    ASSERT_NE(at, damaged.end());
    // The first octet of an identifier is below 120.
    at[2] = 120;
    ExpectError({damaged, Key({}, 2)}, kCorrupt);
    EXPECT_EQ(UserContainers(), 0u);
}

// Step by step: the word, the containers left, and nothing open.
TEST_F(AddPfxKeysToCSPTest, FailuresOfTheProviderEndTheCallAndLeaveTheContainer) {
    const std::vector<Bytes> keys = {Key({FriendlyName(u"first")}), Key({}, 2)};
    const struct {
        const char* call;
        // With one key imported before; the probes count as acquisitions.
        int n;
        std::size_t containers;
    } kSteps[] = {
        {"CryptAcquireContextA", 6, 1}, {"CryptGetProvParam", 3, 2}, {"CryptGetProvParam", 4, 2},
        {"CryptGenKey", 3, 2},          {"CryptImportKey", 2, 2},
    };
    for (const auto& step : kSteps) {
        const test_support::ContainerHome home;
        Calls().FailNamed(step.call, step.n, kInjected + 1);
        ExpectError(keys, kInjected + 1);
        EXPECT_EQ(home.FilesOfUser().size(), step.containers) << step.call;
    }
    const test_support::ContainerHome home;
    Calls().FailNamed("CryptSetProvParam", 1, kInjected + 1);
    EXPECT_EQ(Import(keys, 0, true), 0);
    EXPECT_EQ(GetLastError(), kInjected + 1);
    EXPECT_EQ(home.FilesOfUser().size(), 1u);
}

TEST_F(AddPfxKeysToCSPTest, KeyParametersThatAreRefusedEndTheCall) {
    // The first vector is the derivation's, the second the document's.
    for (const auto& [parameter, n] :
         {std::pair{DWORD{KP_IV}, 2}, std::pair{pkisdk::kCipherOidParameter, 1}}) {
        Calls().FailKeyParam(parameter, n, kInjected + 1);
        ExpectError({Key({})}, kInjected + 1);
        EXPECT_TRUE(Calls().KeyImports().empty());
    }
    EXPECT_EQ(UserContainers(), 2u);
}

TEST_F(AddPfxKeysToCSPTest, WhatCannotBeTiedIsNoError) {
    Certify(one_, {1});
    const std::vector<Bytes> keys = {Key({LocalKeyId({1})})};
    for (const char* const call :
         {"CertCreateCertificateContext", "CertCompareCertificate", "CertEnumCertificatesInStore",
          "CertSetCertificateContextProperty"}) {
        Calls().FailNamed(call, 1, kInjected + 1);
        ExpectSuccess(keys);
        EXPECT_FALSE(KeyPlaces()[0].has_value()) << call;
    }
    Calls().FailKeyParam(KP_CERTIFICATE, 1, kInjected + 1);
    ExpectSuccess(keys);
    EXPECT_FALSE(KeyPlaces()[0].has_value());
}

TEST_F(AddPfxKeysToCSPTest, ACertificateThatIsNotInTheStoreIsNotTied) {
    certificateBags_.push_back(CertificateBag{one_, {LocalKeyId({1})}}.Build());
    ExpectSuccess({Key({LocalKeyId({1})})});
    EXPECT_TRUE(KeyPlaces().empty());
}

TEST_F(AddPfxKeysToCSPTest, BagsThatLieTooDeepInOneAnotherAreCorrupt) {
    const Bytes oid = Oid("1.2.840.113549.1.12.10.1.2");
    Bytes bags;
    for (int depth = 0; depth < 1000; ++depth) {
        bags = Element(0x30, Join({bags, oid}));
    }
    ExpectError({bags}, kCorrupt);
    EXPECT_EQ(UserContainers(), 0u);
}

// The accepted leak of this path alone: the failures above close everything.
TEST_F(AddPfxKeysToCSPTest, AnExceptionIsCorruptAndLeavesWhatTheBagHadOpen) {
    Certify(one_, {1});
    Calls().ThrowAt("CertEnumCertificatesInStore");
    EXPECT_EQ(Import({Key({}), Key({LocalKeyId({1})}, 2), Key({}, 3)}), 0);
    EXPECT_EQ(GetLastError(), kCorrupt);
    EXPECT_EQ(UserContainers(), 2u);
    EXPECT_EQ(Calls().OpenContexts(), 1);
    EXPECT_EQ(Calls().OpenKeys(), 1);
    EXPECT_EQ(Calls().OpenCertificates(), 1);
    Calls().ReleaseContexts();
    store_.Reset();
    Calls().Reset();
}

TEST_F(AddPfxKeysToCSPTest, AnExceptionLeavesTheKeyOfTheDerivationOpenToo) {
    Calls().ThrowAt("CryptImportKey");
    EXPECT_EQ(Import({Key({})}), 0);
    EXPECT_EQ(GetLastError(), kCorrupt);
    EXPECT_EQ(Calls().OpenContexts(), 1);
    EXPECT_EQ(Calls().OpenKeys(), 1);
    Calls().ReleaseContexts();
}

// A provider that fails and says nothing is taken at its word: no key, and no certificate is tied.
TEST_F(AddPfxKeysToCSPTest, AFailureThatLeavesNoErrorIsSuccess) {
    Certify(one_, {1});
    Calls().FailNamed("CryptImportKey", 1, 0);
    ExpectSuccess({Key({LocalKeyId({1}), FriendlyName(u"silent failure")}), Key({}, 2)});
    EXPECT_EQ(UserContainers(), 2u);
    EXPECT_FALSE(KeyOpens("silent failure"));
    EXPECT_FALSE(KeyPlaces()[0].has_value());
}

}  // namespace
