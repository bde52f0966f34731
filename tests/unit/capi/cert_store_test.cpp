#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/certificates.h"
#include "support/last_error.h"

namespace {

using test_support::Certificate;
using test_support::CertificateBytes;
using test_support::Chain;
using test_support::OpenStore;

void SetText(PCCERT_CONTEXT context, DWORD number, std::string text) {
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(text.size()), reinterpret_cast<BYTE*>(text.data())};
    ASSERT_TRUE(CertSetCertificateContextProperty(context, number, 0, &blob));
}

std::string GetText(PCCERT_CONTEXT context, DWORD number) {
    std::string text(64, '\0');
    auto size = static_cast<DWORD>(text.size());
    if (!CertGetCertificateContextProperty(context, number, text.data(), &size)) {
        return "(none)";
    }
    return text.substr(0, size);
}

// A store with the leaf, named "old" and described "kept"; the leaf to add is named "new".
class Dispositions : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(store_.Add(Chain().leaf));
        const Certificate element(store_.First());
        SetText(element.Get(), CERT_FRIENDLY_NAME_PROP_ID, "old");
        SetText(element.Get(), CERT_DESCRIPTION_PROP_ID, "kept");
        SetText(added_.Get(), CERT_FRIENDLY_NAME_PROP_ID, "new");
        SetText(added_.Get(), CERT_FIRST_USER_PROP_ID, "more");
    }
    BOOL Add(DWORD disposition, PCCERT_CONTEXT* result = nullptr) {
        return CertAddCertificateContextToStore(store_.Get(), added_.Get(), disposition, result);
    }
    // The first element's friendly name, description and own property.
    std::vector<std::string> Texts() {
        const Certificate first(store_.First());
        return {GetText(first.Get(), CERT_FRIENDLY_NAME_PROP_ID),
                GetText(first.Get(), CERT_DESCRIPTION_PROP_ID),
                GetText(first.Get(), CERT_FIRST_USER_PROP_ID)};
    }
    using Strings = std::vector<std::string>;

    OpenStore store_;
    Certificate added_{Chain().leaf};
};

TEST_F(Dispositions, NewRefusesWhatIsThere) {
    EXPECT_FAILS_WITH(CRYPT_E_EXISTS, Add(CERT_STORE_ADD_NEW));
    EXPECT_EQ(Texts(), (Strings{"old", "kept", "(none)"}));
}

TEST_F(Dispositions, UseExistingKeepsTheElementAndFillsWhatItLacks) {
    const Certificate before(store_.First());
    PCCERT_CONTEXT result = nullptr;
    ASSERT_TRUE(Add(CERT_STORE_ADD_USE_EXISTING, &result));
    const Certificate after(result);
    EXPECT_EQ(after.Get(), before.Get());
    EXPECT_EQ(Texts(), (Strings{"old", "kept", "more"}));
    EXPECT_EQ(store_.All().size(), 1u);
}

TEST_F(Dispositions, ReplaceExistingDropsItsProperties) {
    const Certificate before(store_.First());
    ASSERT_TRUE(Add(CERT_STORE_ADD_REPLACE_EXISTING));
    EXPECT_EQ(Texts(), (Strings{"new", "(none)", "more"}));
    EXPECT_EQ(store_.All().size(), 1u);
    EXPECT_EQ(GetText(before.Get(), CERT_FRIENDLY_NAME_PROP_ID), "old");
}

TEST_F(Dispositions, ReplaceExistingInheritKeepsThoseThatTheNewOneLacks) {
    ASSERT_TRUE(Add(CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES));
    EXPECT_EQ(Texts(), (Strings{"new", "kept", "more"}));
    EXPECT_EQ(store_.All().size(), 1u);
}

TEST_F(Dispositions, AlwaysAddsASecondOne) {
    ASSERT_TRUE(Add(CERT_STORE_ADD_ALWAYS));
    EXPECT_EQ(Texts(), (Strings{"old", "kept", "(none)"}));
    EXPECT_EQ(store_.All(), (std::vector<CertificateBytes>{Chain().leaf, Chain().leaf}));
}

TEST_F(Dispositions, NewerReplacesAnEarlierOneOfTheSameNumber) {
    EXPECT_FAILS_WITH(CRYPT_E_EXISTS, Add(CERT_STORE_ADD_NEWER));
    ASSERT_TRUE(store_.Add(Chain().newerLeaf, CERT_STORE_ADD_NEWER));
    EXPECT_EQ(store_.All(), (std::vector<CertificateBytes>{Chain().newerLeaf}));
    EXPECT_EQ(Texts(), (Strings{"(none)", "(none)", "(none)"}));
    EXPECT_FAILS_WITH(CRYPT_E_EXISTS, Add(CERT_STORE_ADD_NEWER));
}

TEST_F(Dispositions, NewerLooksAtTheNewestOfTheSameNumber) {
    ASSERT_TRUE(store_.Add(Chain().newerLeaf));
    const std::vector<CertificateBytes> both = {Chain().leaf, Chain().newerLeaf};
    EXPECT_FAILS_WITH(CRYPT_E_EXISTS, store_.Add(Chain().newerLeaf, CERT_STORE_ADD_NEWER));
    EXPECT_EQ(store_.All(), both);
}

TEST_F(Dispositions, NewerInheritKeepsProperties) {
    ASSERT_TRUE(store_.Add(Chain().newerLeaf, CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES));
    EXPECT_EQ(Texts(), (Strings{"old", "kept", "(none)"}));
}

TEST_F(Dispositions, AddWhatIsNotThere) {
    for (DWORD disposition = CERT_STORE_ADD_NEW;
         disposition <= CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES; ++disposition) {
        const OpenStore empty;
        ASSERT_TRUE(empty.Add(Chain().leaf, disposition)) << disposition;
        EXPECT_EQ(empty.All().size(), 1u) << disposition;
    }
    EXPECT_FAILS_WITH(E_INVALIDARG, Add(0));
    EXPECT_FAILS_WITH(E_INVALIDARG, Add(8));
}

TEST(MemoryStore, AddsACopyThatKnowsItsStore) {
    const OpenStore store;
    const Certificate source(Chain().leaf);
    PCCERT_CONTEXT result = nullptr;
    ASSERT_TRUE(
        CertAddCertificateContextToStore(store.Get(), source.Get(), CERT_STORE_ADD_NEW, &result));
    const Certificate element(result);
    EXPECT_NE(element.Get(), source.Get());
    EXPECT_EQ(element->hCertStore, store.Get());
    SetText(element.Get(), CERT_FRIENDLY_NAME_PROP_ID, "element");
    EXPECT_EQ(GetText(source.Get(), CERT_FRIENDLY_NAME_PROP_ID), "(none)");
    const Certificate again(store.First());
    EXPECT_EQ(GetText(again.Get(), CERT_FRIENDLY_NAME_PROP_ID), "element");
}

TEST(MemoryStore, EnumeratesInOrderAndFreesThePrevious) {
    const OpenStore store;
    ASSERT_TRUE(store.Add(Chain().leaf));
    ASSERT_TRUE(store.Add(Chain().root));
    EXPECT_EQ(store.All(), (std::vector<CertificateBytes>{Chain().leaf, Chain().root}));
    PCCERT_CONTEXT const first = store.First();
    const Certificate second(CertEnumCertificatesInStore(store.Get(), first));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertDuplicateCertificateContext(first));
    EXPECT_FAILS_WITH(
        CRYPT_E_NOT_FOUND,
        CertEnumCertificatesInStore(store.Get(), CertDuplicateCertificateContext(second.Get())));
}

TEST(MemoryStore, IsWalkedOnAcrossADeletedElement) {
    const OpenStore store;
    for (const auto& bytes : {Chain().leaf, Chain().issuer, Chain().root}) {
        ASSERT_TRUE(store.Add(bytes));
    }
    PCCERT_CONTEXT at = CertEnumCertificatesInStore(store.Get(), store.First());
    ASSERT_TRUE(CertDeleteCertificateFromStore(CertDuplicateCertificateContext(at)));
    EXPECT_TRUE(CertDeleteCertificateFromStore(CertDuplicateCertificateContext(at)));
    at = CertEnumCertificatesInStore(store.Get(), at);
    ASSERT_NE(at, nullptr);
    EXPECT_EQ(CertificateBytes(at->pbCertEncoded, at->pbCertEncoded + at->cbCertEncoded),
              Chain().root);
    CertFreeCertificateContext(at);
    EXPECT_EQ(store.All().size(), 2u);
}

TEST(MemoryStore, TellsOfContextsThatAreLeftWhenItIsClosed) {
    HCERTSTORE const store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    ASSERT_TRUE(CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, Chain().leaf.data(),
                                                 static_cast<DWORD>(Chain().leaf.size()),
                                                 CERT_STORE_ADD_NEW, nullptr));
    const Certificate element(CertEnumCertificatesInStore(store, nullptr));
    EXPECT_FAILS_WITH(CRYPT_E_PENDING_CLOSE, CertCloseStore(store, CERT_CLOSE_STORE_CHECK_FLAG));
    EXPECT_EQ(element->cbCertEncoded, Chain().leaf.size());
    SetText(element.Get(), CERT_FRIENDLY_NAME_PROP_ID, "still good");
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CertEnumCertificatesInStore(store, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CertCloseStore(store, 0));
}

TEST(MemoryStore, FreesEveryContextWhenForcedToClose) {
    HCERTSTORE const store = CertOpenStore(sz_CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    PCCERT_CONTEXT element = nullptr;
    ASSERT_TRUE(CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, Chain().leaf.data(),
                                                 static_cast<DWORD>(Chain().leaf.size()),
                                                 CERT_STORE_ADD_NEW, &element));
    EXPECT_TRUE(CertCloseStore(store, CERT_CLOSE_STORE_FORCE_FLAG | CERT_CLOSE_STORE_CHECK_FLAG));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertDuplicateCertificateContext(element));
}

TEST(MemoryStore, StaysOpenUntilItsLastReferenceIsClosed) {
    HCERTSTORE const store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    EXPECT_EQ(CertDuplicateStore(store), store);
    EXPECT_FAILS_WITH(CRYPT_E_PENDING_CLOSE, CertCloseStore(store, CERT_CLOSE_STORE_CHECK_FLAG));
    EXPECT_FAILS_WITH(CRYPT_E_NOT_FOUND, CertEnumCertificatesInStore(store, nullptr));
    EXPECT_TRUE(CertCloseStore(store, CERT_CLOSE_STORE_CHECK_FLAG));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CertDuplicateStore(store));
}

TEST(MemoryStore, RefusesWrongHandlesAndContexts) {
    const OpenStore store;
    const OpenStore other;
    const Certificate loose(Chain().leaf);
    ASSERT_TRUE(other.Add(Chain().leaf));
    EXPECT_TRUE(CertCloseStore(nullptr, 0));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CertEnumCertificatesInStore(nullptr, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CertAddCertificateContextToStore(
                                                nullptr, loose.Get(), CERT_STORE_ADD_NEW, nullptr));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertAddCertificateContextToStore(store.Get(), nullptr,
                                                                     CERT_STORE_ADD_NEW, nullptr));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertEnumCertificatesInStore(store.Get(), other.First()));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertEnumCertificatesInStore(
                                        store.Get(), CertDuplicateCertificateContext(loose.Get())));
    EXPECT_FAILS_WITH(E_INVALIDARG,
                      CertDeleteCertificateFromStore(CertDuplicateCertificateContext(loose.Get())));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertDeleteCertificateFromStore(nullptr));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertOpenStore(nullptr, 0, 0, 0, nullptr));
    EXPECT_FAILS_WITH(ERROR_FILE_NOT_FOUND,
                      CertOpenStore(reinterpret_cast<LPCSTR>(11), 0, 0, 0, nullptr));
    EXPECT_FAILS_WITH(ERROR_FILE_NOT_FOUND, CertOpenStore("Elsewhere", 0, 0, 0, nullptr));
}

class Find : public testing::Test {
  protected:
    void SetUp() override {
        for (const auto& bytes : {Chain().leaf, Chain().otherLeaf, Chain().issuer, Chain().root}) {
            ASSERT_TRUE(store_.Add(bytes));
        }
    }
    std::vector<CertificateBytes> All(DWORD type, const void* parameter) {
        std::vector<CertificateBytes> all;
        PCCERT_CONTEXT at = nullptr;
        while ((at = CertFindCertificateInStore(store_.Get(), X509_ASN_ENCODING, 0, type, parameter,
                                                at)) != nullptr) {
            all.emplace_back(at->pbCertEncoded, at->pbCertEncoded + at->cbCertEncoded);
        }
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
        return all;
    }
    using List = std::vector<CertificateBytes>;

    OpenStore store_;
};

TEST_F(Find, AnswersToEachKindOfSearch) {
    const Certificate leaf(Chain().leaf);
    EXPECT_EQ(All(CERT_FIND_ANY, nullptr).size(), 4u);
    EXPECT_EQ(All(CERT_FIND_EXISTING, leaf.Get()), List{Chain().leaf});
    EXPECT_EQ(All(CERT_FIND_SUBJECT_STR_W, L"LEAF"), (List{Chain().leaf, Chain().otherLeaf}));
    EXPECT_EQ(All(CERT_FIND_SUBJECT_STR_A, "leaf t"), List{Chain().otherLeaf});
    EXPECT_EQ(All(CERT_FIND_ISSUER_STR_W, L"root"), (List{Chain().issuer, Chain().root}));
    EXPECT_EQ(All(CERT_FIND_ISSUER_STR_A, "nobody"), List{});
    BYTE hash[20];
    DWORD size = sizeof(hash);
    CertGetCertificateContextProperty(leaf.Get(), CERT_SHA1_HASH_PROP_ID, hash, &size);
    CRYPT_HASH_BLOB sha1{size, hash};
    EXPECT_EQ(All(CERT_FIND_SHA1_HASH, &sha1), List{Chain().leaf});
    size = sizeof(hash);
    CertGetCertificateContextProperty(leaf.Get(), CERT_MD5_HASH_PROP_ID, hash, &size);
    CRYPT_HASH_BLOB md5{size, hash};
    EXPECT_EQ(All(CERT_FIND_MD5_HASH, &md5), List{Chain().leaf});
    EXPECT_EQ(All(CERT_FIND_SUBJECT_NAME, &leaf->pCertInfo->Subject), List{Chain().leaf});
    EXPECT_EQ(All(CERT_FIND_ISSUER_NAME, &leaf->pCertInfo->Issuer),
              (List{Chain().leaf, Chain().otherLeaf}));
    EXPECT_EQ(All(CERT_FIND_SUBJECT_CERT, leaf->pCertInfo), List{Chain().leaf});
    EXPECT_EQ(All(CERT_FIND_ISSUER_OF, leaf.Get()), List{Chain().issuer});
}

TEST_F(Find, AnswersToProperties) {
    const DWORD number = CERT_DESCRIPTION_PROP_ID;
    EXPECT_EQ(All(CERT_FIND_PROPERTY, &number), List{});
    EXPECT_EQ(All(CERT_FIND_HAS_PRIVATE_KEY, nullptr), List{});
    const Certificate first(store_.First());
    SetText(first.Get(), CERT_DESCRIPTION_PROP_ID, "text");
    CRYPT_KEY_PROV_INFO info{};
    CertSetCertificateContextProperty(first.Get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &info);
    EXPECT_EQ(All(CERT_FIND_PROPERTY, &number), List{Chain().leaf});
    EXPECT_EQ(All(CERT_FIND_HAS_PRIVATE_KEY, nullptr), List{Chain().leaf});
}

TEST_F(Find, RefusesOtherKindsAndMissingParameters) {
    EXPECT_FAILS_WITH(E_INVALIDARG,
                      CertFindCertificateInStore(store_.Get(), 1, 0, 0x00FF0000, "x", nullptr));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertFindCertificateInStore(
                                        store_.Get(), 1, 0, CERT_FIND_SHA1_HASH, nullptr, nullptr));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertFindCertificateInStore(store_.Get(), 1, 1, CERT_FIND_ANY,
                                                               nullptr, nullptr));
}

TEST_F(Find, FindsIssuersAndClearsTheChecksThatPass) {
    const Certificate leaf(Chain().leaf);
    DWORD flags = 0;
    const Certificate issuer(
        CertGetIssuerCertificateFromStore(store_.Get(), leaf.Get(), nullptr, &flags));
    ASSERT_NE(issuer.Get(), nullptr);
    EXPECT_EQ(issuer->cbCertEncoded, Chain().issuer.size());
    flags = CERT_STORE_SIGNATURE_FLAG | CERT_STORE_TIME_VALIDITY_FLAG | CERT_STORE_REVOCATION_FLAG;
    const Certificate root(
        CertGetIssuerCertificateFromStore(store_.Get(), issuer.Get(), nullptr, &flags));
    EXPECT_EQ(flags, DWORD{CERT_STORE_REVOCATION_FLAG | CERT_STORE_NO_CRL_FLAG});
    flags = 0;
    EXPECT_FAILS_WITH(CRYPT_E_SELF_SIGNED,
                      CertGetIssuerCertificateFromStore(store_.Get(), root.Get(), nullptr, &flags));
    EXPECT_FAILS_WITH(
        CRYPT_E_NOT_FOUND,
        CertGetIssuerCertificateFromStore(store_.Get(), leaf.Get(),
                                          CertDuplicateCertificateContext(issuer.Get()), &flags));
    EXPECT_FAILS_WITH(E_INVALIDARG,
                      CertGetIssuerCertificateFromStore(store_.Get(), nullptr, nullptr, &flags));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertGetIssuerCertificateFromStore(store_.Get(), leaf.Get(),
                                                                      nullptr, nullptr));
    flags = 8;
    EXPECT_FAILS_WITH(E_INVALIDARG,
                      CertGetIssuerCertificateFromStore(store_.Get(), leaf.Get(), nullptr, &flags));
}

TEST_F(Find, KeepsTheBitOfASignatureThatIsNotGood) {
    CertificateBytes forged = Chain().leaf;
    forged.back() ^= 1;
    const Certificate leaf(forged);
    DWORD flags = CERT_STORE_SIGNATURE_FLAG;
    const Certificate issuer(
        CertGetIssuerCertificateFromStore(store_.Get(), leaf.Get(), nullptr, &flags));
    ASSERT_NE(issuer.Get(), nullptr);
    EXPECT_EQ(flags, DWORD{CERT_STORE_SIGNATURE_FLAG});
}

}  // namespace
