#include "pfxexport/key_certificate_walk.h"

#include <gtest/gtest.h>
#include <openssl/sha.h>
#include <sys/resource.h>

#include <cstdlib>
#include <random>
#include <string>

#include "support/export_fixture.h"
#include "support/reference_key_selection.h"

namespace {

using pkisdk::Blob;
using pkisdk::KeyCertificateWalk;
using pkisdk::SelectKeyCertificate;
using test_support::CertificateBytes;
using test_support::Chain;
using test_support::kInjected;
using test_support::ReferenceSelectKeyCertificate;
using test_support::SelectedKey;

std::vector<BYTE> Sha1(const CertificateBytes& bytes) {
    std::vector<BYTE> hash(SHA_DIGEST_LENGTH);
    SHA1(bytes.data(), bytes.size(), hash.data());
    return hash;
}

class SelectKeyCertificateTest : public test_support::ExportTest {
  protected:
    ~SelectKeyCertificateTest() override { Forget(); }

    int Select(int index) {
        Forget();
        SetLastError(kInjected);
        return SelectKeyCertificate(store_.Get(), index, &info_, &thumbprint_, &certificate_);
    }
    void ExpectNothingHandedOut() const {
        EXPECT_EQ(info_, nullptr);
        EXPECT_TRUE(thumbprint_.IsEmpty());
        EXPECT_EQ(certificate_, nullptr);
    }
    CertificateBytes Encoded() const {
        return {certificate_->pbCertEncoded,
                certificate_->pbCertEncoded + certificate_->cbCertEncoded};
    }
    std::vector<BYTE> Thumbprint() const {
        return {thumbprint_.Bytes().begin(), thumbprint_.Bytes().end()};
    }
    // As its caller does.
    void Forget() {
        std::free(std::exchange(info_, nullptr));
        CertFreeCertificateContext(std::exchange(certificate_, nullptr));
        thumbprint_.Clear();
    }

    PCRYPT_KEY_PROV_INFO info_ = nullptr;
    Blob thumbprint_;
    PCCERT_CONTEXT certificate_ = nullptr;
};

TEST_F(SelectKeyCertificateTest, WithoutAnyKeyTheFirstIsNoMoreItems) {
    Add(Chain().root);
    Add(Chain().leaf);
    EXPECT_FAILS_WITH(ERROR_NO_MORE_ITEMS, Select(1));
    ExpectNothingHandedOut();
    ExpectNothingOpen();
}

TEST_F(SelectKeyCertificateTest, AMissingOrEmptyStoreIsNoMoreItems) {
    EXPECT_FAILS_WITH(ERROR_NO_MORE_ITEMS,
                      SelectKeyCertificate(nullptr, 1, &info_, &thumbprint_, &certificate_));
    EXPECT_EQ(Calls().Count("CertEnumCertificatesInStore"), 0);
    EXPECT_FAILS_WITH(ERROR_NO_MORE_ITEMS, Select(1));
    ExpectNothingHandedOut();
}

TEST_F(SelectKeyCertificateTest, CountsOnlyCertificatesThatNameAKey) {
    Add(Chain().root);
    Add(Chain().leaf, L"first");
    Add(Chain().issuer);
    Add(Chain().otherLeaf, L"second");
    ASSERT_EQ(Select(1), 1);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(Encoded(), Chain().leaf);
    EXPECT_STREQ(info_->pwszContainerName, L"first");
    EXPECT_EQ(Thumbprint(), Sha1(Chain().leaf));
    ASSERT_EQ(Select(2), 1);
    EXPECT_EQ(Encoded(), Chain().otherLeaf);
    EXPECT_STREQ(info_->pwszContainerName, L"second");
    EXPECT_EQ(Thumbprint(), Sha1(Chain().otherLeaf));
    for (const int index : {3, 4, 5}) {
        EXPECT_FAILS_WITH(ERROR_NO_MORE_ITEMS, Select(index));
        ExpectNothingHandedOut();
    }
}

TEST_F(SelectKeyCertificateTest, AnIndexBelowOneIsNoMoreItems) {
    Add(Chain().leaf, L"key");
    EXPECT_FAILS_WITH(ERROR_NO_MORE_ITEMS, Select(0));
    EXPECT_FAILS_WITH(ERROR_NO_MORE_ITEMS, Select(-1));
}

TEST_F(SelectKeyCertificateTest, ARecordThatCannotBeReadIsTheStoresError) {
    Add(Chain().leaf, L"key");
    Calls().FailNamed("CertGetCertificateContextProperty", 2, kInjected);
    EXPECT_EQ(Select(1), 0);
    EXPECT_EQ(GetLastError(), kInjected);
    ExpectNothingHandedOut();
    ExpectNothingOpen();
}

TEST_F(SelectKeyCertificateTest, ACertificateWhoseRecordCannotBeMeasuredIsPassedOver) {
    Add(Chain().leaf, L"first");
    Add(Chain().otherLeaf, L"second");
    Calls().FailNamed("CertGetCertificateContextProperty", 1, kInjected);
    ASSERT_EQ(Select(1), 1);
    EXPECT_STREQ(info_->pwszContainerName, L"second");
}

#ifndef __SANITIZE_ADDRESS__  // it needs the whole address space
TEST_F(SelectKeyCertificateTest, NoMemoryForTheRecordIsToldAsNoMoreItems) {
    Add(Chain().leaf, L"key");
    Keys().ReplaceRecordSize(0xFFFFFFF0);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    const rlimit small{rlim_t{2} << 30, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &small), 0);
    const int answer = Select(1);
    const DWORD error = GetLastError();
    setrlimit(RLIMIT_AS, &before);
    EXPECT_EQ(answer, 0);
    EXPECT_EQ(error, static_cast<DWORD>(ERROR_NO_MORE_ITEMS));
    EXPECT_EQ(Calls().Count("CertGetCertificateContextProperty"), 1);
    ExpectNothingHandedOut();
    ExpectNothingOpen();
}
#endif

TEST_F(SelectKeyCertificateTest, AThumbprintThatCannotBeHadIsZeroAndNoError) {
    Add(Chain().leaf, L"key");
    Calls().FailNamed("CryptHashCertificate", 1, kInjected);
    EXPECT_EQ(Select(1), 1);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(Thumbprint(), std::vector<BYTE>(20, 0));
}

TEST_F(SelectKeyCertificateTest, TheWalksOwnReferenceToTheFoundCertificateStays) {
    Add(Chain().root);
    Add(Chain().leaf, L"key");
    ASSERT_EQ(Select(1), 1);
    EXPECT_EQ(Keys().OpenCertificates(), 2);
    Forget();
    EXPECT_EQ(Keys().OpenCertificates(), 1);
}

// One pass gives what the calls of 1, 2, 3 ... give.
TEST_F(SelectKeyCertificateTest, OneWalkSelectsWhatCallsInARowSelect) {
    std::mt19937 random(1);
    const CertificateBytes* const kinds[] = {&Chain().root, &Chain().issuer, &Chain().leaf,
                                             &Chain().otherLeaf};
    for (int round = 0; round < 50; ++round) {
        const test_support::OpenStore store;
        const std::size_t size = random() % 8;
        for (std::size_t i = 0; i < size; ++i) {
            const CertificateBytes& bytes = *kinds[random() % 4];
            PCCERT_CONTEXT added = nullptr;
            ASSERT_TRUE(CertAddEncodedCertificateToStore(
                store.Get(), X509_ASN_ENCODING, bytes.data(), static_cast<DWORD>(bytes.size()),
                CERT_STORE_ADD_ALWAYS, &added));
            if (random() % 2 == 0) {
                std::wstring container = L"key" + std::to_wstring(i);
                CRYPT_KEY_PROV_INFO info{};
                info.pwszContainerName = container.data();
                CertSetCertificateContextProperty(added, CERT_KEY_PROV_INFO_PROP_ID, 0, &info);
            }
            CertFreeCertificateContext(added);
        }
        KeyCertificateWalk walk(store.Get());
        for (int index = 1;; ++index) {
            const SelectedKey expected = ReferenceSelectKeyCertificate(store.Get(), index);
            if (!walk.MoveNext()) {
                EXPECT_EQ(expected.answer, 0);
                EXPECT_EQ(expected.error, static_cast<DWORD>(ERROR_NO_MORE_ITEMS));
                break;
            }
            ASSERT_EQ(expected.answer, 1);
            PCRYPT_KEY_PROV_INFO record = nullptr;
            Blob thumbprint;
            PCCERT_CONTEXT certificate = nullptr;
            ASSERT_EQ(walk.Select(&record, &thumbprint, &certificate), 1);
            EXPECT_EQ(certificate, expected.certificate);
            EXPECT_TRUE(std::equal(expected.thumbprint.begin(), expected.thumbprint.end(),
                                   thumbprint.Bytes().begin(), thumbprint.Bytes().end()));
            EXPECT_TRUE(std::equal(expected.record.begin(), expected.record.end(),
                                   record->pwszContainerName));
            std::free(record);
            CertFreeCertificateContext(certificate);
            CertFreeCertificateContext(expected.certificate);
        }
    }
}

TEST_F(SelectKeyCertificateTest, AWalkLeavesOneReferenceOpenForEachKeyLikeTheCalls) {
    Add(Chain().leaf, L"first");
    Add(Chain().root);
    Add(Chain().otherLeaf, L"second");
    KeyCertificateWalk walk(store_.Get());
    while (walk.MoveNext()) {
        Forget();
        ASSERT_EQ(walk.Select(&info_, &thumbprint_, &certificate_), 1);
    }
    Forget();
    EXPECT_EQ(Keys().OpenCertificates(), 2);
}

}  // namespace
