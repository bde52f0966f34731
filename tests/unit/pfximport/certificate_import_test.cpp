#include "pfximport/certificate_import.h"

#include <gtest/gtest.h>

#include "derlist/der_queries.h"
#include "pfxcrypto/handle_guards.h"
#include "pfxcrypto/pfx_constants.h"
#include "support/import_fixture.h"

namespace {

using pkisdk::CertStore;
using pkisdk::DerList;
using test_support::Bytes;
using test_support::CertificateBag;
using test_support::CertificatesOf;
using test_support::DocumentOf;
using test_support::Element;
using test_support::EncryptedContentInfo;
using test_support::Encryption;
using test_support::Join;
using test_support::kBadAlgorithm;
using test_support::kBadData;
using test_support::kCorrupt;
using test_support::kInjected;
using test_support::MakeCertificate;
using test_support::Oid;
using test_support::ToList;

class AddPfxCertsToStoreTest : public test_support::ImportTest {
  protected:
    void SetUp() override {
        ImportTest::SetUp();
        *store_.Put() = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    }
    void TearDown() override {
        store_.Reset();
        ImportTest::TearDown();
    }
    int Add(const Bytes& document, DerList* certificates = nullptr) {
        SetLastError(kInjected);
        return pkisdk::AddPfxCertsToStore("Password1", ToList(document), store_.Get(),
                                          certificates);
    }
    void ExpectSuccess(const Bytes& document, const std::vector<Bytes>& expected) {
        EXPECT_EQ(Add(document), 1) << std::hex << GetLastError();
        EXPECT_EQ(GetLastError(), 0u);
        EXPECT_EQ(CertificatesOf(store_.Get()), expected);
    }
    void ExpectError(const Bytes& document, DWORD error) {
        EXPECT_EQ(Add(document), 0);
        EXPECT_EQ(GetLastError(), error) << std::hex << GetLastError();
        EXPECT_TRUE(CertificatesOf(store_.Get()).empty());
    }
    static Bytes Bag(const Bytes& certificate) { return CertificateBag{certificate, {}}.Build(); }

    CertStore store_;
    const Bytes one_ = MakeCertificate("one", "ca");
    const Bytes two_ = MakeCertificate("two", "ca");
};

TEST_F(AddPfxCertsToStoreTest, EveryCertificateIsAdded) {
    ExpectSuccess(DocumentOf({EncryptedContentInfo({Bag(one_), Bag(two_)})}), {one_, two_});
    ASSERT_EQ(Calls().Acquisitions().size(), 1u);
    EXPECT_EQ(Calls().Acquisitions()[0].flags, CRYPT_VERIFYCONTEXT);
    EXPECT_EQ(UserContainers(), 0u);
}

TEST_F(AddPfxCertsToStoreTest, OfTwoEncryptedContentsOnlyTheFirstIsRead) {
    ExpectSuccess(
        DocumentOf({EncryptedContentInfo({Bag(one_)}), EncryptedContentInfo({Bag(two_)})}), {one_});
}

TEST_F(AddPfxCertsToStoreTest, CertificatesInPlainContentAreNotLookedFor) {
    ExpectError(DocumentOf({test_support::PlainContentInfo({Bag(one_)})}), kBadData);
}

TEST_F(AddPfxCertsToStoreTest, WithoutACertificateBagTheStoreIsEmptyAndTheListFilled) {
    const Bytes content = EncryptedContentInfo({test_support::KeyBag{}.Build()});
    DerList certificates;
    EXPECT_EQ(Add(DocumentOf({content}), &certificates), 1);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_TRUE(CertificatesOf(store_.Get()).empty());
    EXPECT_NE(pkisdk::FindByOid(&certificates, "1.2.840.113549.1.12.10.1.2", nullptr), 0);
}

TEST_F(AddPfxCertsToStoreTest, OfTwoBagsWithTheSameCertificateTheStoreKeepsOne) {
    ExpectSuccess(DocumentOf({EncryptedContentInfo({Bag(one_), Bag(one_)})}), {one_});
    EXPECT_EQ(Calls().Parameters("CertAddCertificateContextToStore"),
              (std::vector<DWORD>(2, CERT_STORE_ADD_USE_EXISTING)));
}

TEST_F(AddPfxCertsToStoreTest, ABagOfAnotherTypeIsNotLookedAt) {
    ExpectSuccess(DocumentOf({EncryptedContentInfo({test_support::KeyBag{}.Build(), Bag(two_)})}),
                  {two_});
}

TEST_F(AddPfxCertsToStoreTest, ACertificateThatFailsToDecodeIsPassedOver) {
    ExpectSuccess(
        DocumentOf({EncryptedContentInfo({Bag(one_), Bag({0x30, 0x00}), Bag({}), Bag(two_)})}),
        {one_, two_});
    EXPECT_EQ(Calls().Count("CertAddCertificateContextToStore"), 2);
}

// One of another type: an SDSI certificate.
TEST_F(AddPfxCertsToStoreTest, ABagWithoutAnX509CertificateIsNotShownToThePlatform) {
    const Bytes certificate =
        Element(0x30, Join({Oid("1.2.840.113549.1.9.22.2"), Element(0xA0, Element(0x16, {'A'}))}));
    const Bytes bag =
        Element(0x30, Join({Oid("1.2.840.113549.1.12.10.1.3"), Element(0xA0, certificate)}));
    ExpectSuccess(DocumentOf({EncryptedContentInfo({bag, Bag(two_)})}), {two_});
    EXPECT_EQ(Calls().Count("CertCreateCertificateContext"), 1);
}

TEST_F(AddPfxCertsToStoreTest, WhatIsInTheStoreAlreadyStays) {
    ExpectSuccess(DocumentOf({EncryptedContentInfo({Bag(two_)})}), {two_});
    ExpectSuccess(DocumentOf({EncryptedContentInfo({Bag(one_), Bag(two_)})}), {two_, one_});
}

TEST_F(AddPfxCertsToStoreTest, TheListIsReplacedByTheDecryptedContent) {
    const Bytes bag = Bag(one_);
    DerList certificates = ToList(Element(0x30, Oid("1.2.3")));
    EXPECT_EQ(Add(DocumentOf({EncryptedContentInfo({bag})}), &certificates), 1);
    pkisdk::Blob flat;
    EXPECT_EQ(pkisdk::FlattenSubtree(certificates, 0, &flat), 1);
    EXPECT_EQ(flat, test_support::ToBlob(Element(0x30, bag)));
}

TEST_F(AddPfxCertsToStoreTest, WithoutAStoreItIsBadData) {
    const Bytes document = DocumentOf({EncryptedContentInfo({Bag(one_)})});
    EXPECT_EQ(pkisdk::AddPfxCertsToStore("Password1", ToList(document), nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), kBadData);
}

TEST_F(AddPfxCertsToStoreTest, WithoutEncryptedContentItIsBadData) {
    ExpectError({}, kBadData);
    ExpectError(DocumentOf({}), kBadData);
}

TEST_F(AddPfxCertsToStoreTest, WithoutANodeUnderTheContentItIsCorrupt) {
    const Bytes oid = Oid("1.2.840.113549.1.7.6");
    ExpectError(Element(0x30, oid), kCorrupt);
    ExpectError(Element(0x30, Join({oid, Element(0xA0, {})})), kCorrupt);
    EXPECT_EQ(Calls().Count("CryptAcquireContextA"), 0);
}

TEST_F(AddPfxCertsToStoreTest, AMalformedContentIsCorrupt) {
    const Bytes oid = Oid("1.2.840.113549.1.7.6");
    for (const Bytes& data :
         {Element(0x30, {}), Element(0x04, {1}), Element(0x30, Element(0x02, {0})),
          Element(0x30, Join({Element(0x02, {0}), Element(0x30, {})}))}) {
        ExpectError(Element(0x30, Join({oid, Element(0xA0, data)})), kCorrupt);
    }
}

TEST_F(AddPfxCertsToStoreTest, AFunctionWithoutParametersIsCorrupt) {
    Encryption encryption;
    encryption.withPrfParameters = false;
    ExpectError(DocumentOf({EncryptedContentInfo({Bag(one_)}, encryption)}), kCorrupt);
}

TEST_F(AddPfxCertsToStoreTest, AnUnknownCipherIsABadAlgorithm) {
    Encryption encryption;
    encryption.cipher = "1.2.3.4";
    ExpectError(DocumentOf({EncryptedContentInfo({Bag(one_)}, encryption)}), kBadAlgorithm);
    EXPECT_EQ(Calls().Count("CryptAcquireContextA"), 0);
}

TEST_F(AddPfxCertsToStoreTest, AnUnknownFunctionIsABadAlgorithm) {
    Encryption encryption;
    encryption.prf = "1.2.643.7.1.1.4.3";
    ExpectError(DocumentOf({EncryptedContentInfo({Bag(one_)}, encryption)}), kBadAlgorithm);
}

TEST_F(AddPfxCertsToStoreTest, EveryFunctionAndParameterSetDecrypts) {
    Encryption encryption;
    encryption.prf = "1.2.643.2.2.10";
    encryption.parameterSet = "1.2.643.2.2.31.3";
    ExpectSuccess(DocumentOf({EncryptedContentInfo({Bag(one_)}, encryption)}), {one_});
    encryption.prf = "1.2.643.7.1.1.4.2";
    encryption.parameterSet = "1.2.643.7.1.2.5.1.1";
    ExpectSuccess(DocumentOf({EncryptedContentInfo({Bag(two_)}, encryption)}), {one_, two_});
}

// The wrong key makes nonsense of the content, in which no bags are found.
TEST_F(AddPfxCertsToStoreTest, TheLengthThatDecryptionTellsIsNotLookedAt) {
    for (const DWORD size : {0U, 10U, 0xFFFFFFFFU}) {
        Calls().ReplaceDecryptedSize(size);
        ExpectSuccess(DocumentOf({EncryptedContentInfo({Bag(one_)})}), {one_});
    }
}

TEST_F(AddPfxCertsToStoreTest, ContentUnderAnotherPasswordIsAnEmptyStore) {
    ExpectSuccess(DocumentOf({EncryptedContentInfo({Bag(one_)}, {}, "another")}), {});
}

TEST_F(AddPfxCertsToStoreTest, ContentWithoutOctetsIsAnEmptyStore) {
    const Bytes info =
        Element(0x30, Join({Oid("1.2.840.113549.1.7.1"), Encryption().AlgorithmIdentifier()}));
    const Bytes data = Element(0x30, Join({Element(0x02, {0}), info}));
    const Bytes content = Element(0x30, Join({Oid("1.2.840.113549.1.7.6"), Element(0xA0, data)}));
    DerList certificates = ToList(Element(0x30, {}));
    EXPECT_EQ(Add(DocumentOf({content}), &certificates), 1) << std::hex << GetLastError();
    EXPECT_TRUE(CertificatesOf(store_.Get()).empty());
    EXPECT_TRUE(certificates.empty());
}

TEST_F(AddPfxCertsToStoreTest, FailuresOfTheProviderAreTold) {
    const Bytes document = DocumentOf({EncryptedContentInfo({Bag(one_)})});
    for (const char* const call :
         {"CryptAcquireContextA", "CryptGenKey", "CryptCreateHash", "CryptDecrypt"}) {
        Calls().FailNamed(call, 1, kInjected + 1);
        EXPECT_EQ(Add(document), 0) << call;
        EXPECT_EQ(GetLastError(), kInjected + 1) << call;
        EXPECT_TRUE(CertificatesOf(store_.Get()).empty());
        EXPECT_EQ(Calls().OpenContexts(), 0) << call;
        EXPECT_EQ(Calls().OpenKeys(), 0) << call;
    }
}

TEST_F(AddPfxCertsToStoreTest, KeyParametersThatAreRefusedAreTold) {
    const Bytes document = DocumentOf({EncryptedContentInfo({Bag(one_)})});
    // The first vector is the derivation's, the second the document's.
    for (const auto& [parameter, n] :
         {std::pair{DWORD{KP_IV}, 2}, std::pair{pkisdk::kCipherOidParameter, 1}}) {
        Calls().FailKeyParam(parameter, n, kInjected + 1);
        ExpectError(document, kInjected + 1);
    }
}

TEST_F(AddPfxCertsToStoreTest, AnAdditionThatFailsIsNotTold) {
    Calls().FailNamed("CertAddCertificateContextToStore", 1, kInjected + 1);
    ExpectSuccess(DocumentOf({EncryptedContentInfo({Bag(one_), Bag(two_)})}), {two_});
}

TEST_F(AddPfxCertsToStoreTest, AnExceptionIsCorruptAndClosesWhatIsOpen) {
    for (const char* const call : {"CryptDecrypt", "CertCreateCertificateContext"}) {
        Calls().ThrowAt(call);
        ExpectError(DocumentOf({EncryptedContentInfo({Bag(one_)})}), kCorrupt);
        EXPECT_EQ(Calls().OpenContexts(), 0) << call;
        EXPECT_EQ(Calls().OpenKeys(), 0) << call;
        EXPECT_EQ(Calls().OpenCertificates(), 0) << call;
    }
}

TEST_F(AddPfxCertsToStoreTest, BagsThatLieTooDeepInOneAnotherAreCorrupt) {
    Bytes bags;
    for (int depth = 0; depth < 1000; ++depth) {
        bags = Element(0x30, Join({Oid("1.2.840.113549.1.12.10.1.3"), bags}));
    }
    ExpectError(DocumentOf({EncryptedContentInfo({bags})}), kCorrupt);
}

// A provider that fails and says nothing is taken at its word.
TEST_F(AddPfxCertsToStoreTest, AFailureThatLeavesNoErrorIsSuccess) {
    Calls().FailNamed("CryptDecrypt", 1, 0);
    ExpectSuccess(DocumentOf({EncryptedContentInfo({Bag(one_)})}), {});
}

}  // namespace
