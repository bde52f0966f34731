#include "pfximport/system_stores.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "pfxcrypto/handle_guards.h"
#include "support/c_heap.h"
#include "support/import_fixture.h"

namespace {

using pkisdk::CertContext;
using pkisdk::CertStore;
using test_support::Bytes;
using test_support::CertificatesOf;
using test_support::kBadData;
using test_support::kInjected;
using test_support::MakeCertificate;

constexpr DWORD kFail = static_cast<DWORD>(NTE_FAIL);
using Certificates = std::vector<Bytes>;

class SystemStoresTest : public test_support::ImportTest {
  protected:
    void SetUp() override {
        ImportTest::SetUp();
        *source_.Put() = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    }
    void TearDown() override {
        source_.Reset();
        ImportTest::TearDown();
    }

    static CertContext AddTo(HCERTSTORE store, const Bytes& certificate,
                             const wchar_t* container = nullptr) {
        CertContext added;
        EXPECT_TRUE(CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, certificate.data(),
                                                     static_cast<DWORD>(certificate.size()),
                                                     CERT_STORE_ADD_NEW, added.Put()));
        Calls().Opened(&test_support::PlatformCalls::certificates_, true);
        if (container != nullptr) {
            Tie(added, container);
        }
        return added;
    }
    // With null the record names no container.
    static void Tie(const CertContext& certificate, const wchar_t* container) {
        std::wstring name = container != nullptr ? container : L"";
        std::wstring provider = L"provider";
        CRYPT_KEY_PROV_INFO info{};
        info.pwszContainerName = container != nullptr ? name.data() : nullptr;
        info.pwszProvName = provider.data();
        EXPECT_TRUE(CertSetCertificateContextProperty(certificate.Get(), CERT_KEY_PROV_INFO_PROP_ID,
                                                      0, &info));
    }
    // To the source; with a container it counts as having a key.
    CertContext Add(const Bytes& certificate, const wchar_t* container = nullptr) {
        return AddTo(source_.Get(), certificate, container);
    }
    static CertStore Open(const wchar_t* name, DWORD location = CERT_SYSTEM_STORE_CURRENT_USER) {
        return CertStore(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, location, name));
    }
    static Certificates Stored(const wchar_t* name,
                               DWORD location = CERT_SYSTEM_STORE_CURRENT_USER) {
        Certificates stored = CertificatesOf(Open(name, location).Get());
        std::sort(stored.begin(), stored.end());
        return stored;
    }
    static Certificates Sorted(Certificates certificates) {
        std::sort(certificates.begin(), certificates.end());
        return certificates;
    }
    void Place(DWORD error = 0, DWORD flags = 0) {
        SetLastError(kInjected);
        EXPECT_EQ(pkisdk::PlaceCertsInSystemStores(source_.Get(), flags), 1);
        EXPECT_EQ(GetLastError(), error) << std::hex << GetLastError();
    }

    // A record with nothing behind it that names this container.
    static std::vector<BYTE> RecordOf(const wchar_t* container) {
        CRYPT_KEY_PROV_INFO info{};
        info.pwszContainerName = const_cast<LPWSTR>(container);
        const auto* const octets = reinterpret_cast<const BYTE*>(&info);
        return {octets, octets + sizeof info};
    }

    CertStore source_;
    const Bytes leaf_ = MakeCertificate("leaf", "issuer");
    const Bytes issuer_ = MakeCertificate("issuer", "root");
    const Bytes root_ = MakeCertificate("root", "root");
};

TEST_F(SystemStoresTest, ASelfSignedCertificateWithAKeyGoesToMyOnly) {
    Add(root_, L"container");
    Place();
    EXPECT_EQ(Stored(L"MY"), Certificates{root_});
    EXPECT_EQ(Stored(L"CA"), Certificates{});
    EXPECT_EQ(Stored(L"ROOT"), Certificates{});
}

TEST_F(SystemStoresTest, AChainOfThreeGoesToOneStoreEach) {
    Add(root_);
    Add(leaf_, L"container");
    Add(issuer_);
    Place();
    EXPECT_EQ(Stored(L"MY"), Certificates{leaf_});
    EXPECT_EQ(Stored(L"CA"), Certificates{issuer_});
    EXPECT_EQ(Stored(L"ROOT"), Certificates{root_});
}

TEST_F(SystemStoresTest, AnIssuerWithoutAnIssuerOfItsOwnGoesToRoot) {
    Add(leaf_, L"container");
    Add(issuer_);
    const Bytes before = MakeCertificate("before", "before");
    AddTo(Open(L"CA").Get(), before);
    Place();
    EXPECT_EQ(Stored(L"MY"), Certificates{leaf_});
    EXPECT_EQ(Stored(L"CA"), Certificates{before});
    EXPECT_EQ(Stored(L"ROOT"), Certificates{issuer_});
}

TEST_F(SystemStoresTest, AChainOfFiveLeavesThreeInCaAndOneInRoot) {
    const Bytes above = MakeCertificate("1", "2");
    const Bytes second = MakeCertificate("2", "3");
    const Bytes third = MakeCertificate("3", "4");
    const Bytes top = MakeCertificate("4", "4");
    const Bytes leaf = MakeCertificate("leaf", "1");
    Add(leaf, L"container");
    for (const Bytes& certificate : {above, second, third, top}) {
        Add(certificate);
    }
    Place();
    EXPECT_EQ(Stored(L"MY"), Certificates{leaf});
    EXPECT_EQ(Stored(L"CA"), Sorted({above, second, third}));
    EXPECT_EQ(Stored(L"ROOT"), Certificates{top});
}

TEST_F(SystemStoresTest, AChainThatTwoKeysShareIsStoredOnce) {
    const Bytes other = MakeCertificate("other", "issuer", 2);
    Add(leaf_, L"one");
    Add(other, L"two");
    Add(issuer_);
    Add(root_);
    const int before = Calls().Count("CertAddCertificateContextToStore");
    Place();
    EXPECT_EQ(Stored(L"MY"), Sorted({leaf_, other}));
    EXPECT_EQ(Stored(L"CA"), Certificates{issuer_});
    EXPECT_EQ(Stored(L"ROOT"), Certificates{root_});
    // MY once, CA and ROOT once, for each key.
    EXPECT_EQ(Calls().Count("CertAddCertificateContextToStore"), before + 6);
}

TEST_F(SystemStoresTest, InMyTheNewOneReplacesWithItsPropertiesInCaAndRootTheOldOneStays) {
    AddTo(Open(L"MY").Get(), leaf_, L"old");
    AddTo(Open(L"CA").Get(), issuer_, L"old");
    AddTo(Open(L"ROOT").Get(), root_, L"old");
    Add(leaf_, L"new");
    Add(issuer_);
    Add(root_);
    Place();
    for (const wchar_t* const name : {L"MY", L"CA", L"ROOT"}) {
        const CertStore store = Open(name);
        const auto places = test_support::KeyPlacesOf(store.Get());
        ASSERT_EQ(places.size(), 1u);
        EXPECT_EQ(places[0]->container, std::wstring(name) == L"MY" ? L"new" : L"old");
    }
}

TEST_F(SystemStoresTest, WithoutAKeyNothingIsPlacedAndTheLastErrorStays) {
    Add(leaf_);
    Add(issuer_);
    Place(kInjected);
    for (const wchar_t* const name : {L"MY", L"CA", L"ROOT"}) {
        EXPECT_EQ(Stored(name), Certificates{});
    }
    EXPECT_EQ(CertificatesOf(source_.Get()), (Certificates{leaf_, issuer_}));
}

TEST_F(SystemStoresTest, TheMachinesFlagAloneDecidesOnTheLocation) {
    Add(leaf_, L"container");
    Add(issuer_);
    Place(0, CRYPT_MACHINE_KEYSET | CRYPT_EXPORTABLE);
    EXPECT_EQ(Stored(L"MY"), Certificates{});
    EXPECT_EQ(Stored(L"MY", CERT_SYSTEM_STORE_LOCAL_MACHINE), Certificates{leaf_});
    EXPECT_EQ(Stored(L"ROOT", CERT_SYSTEM_STORE_LOCAL_MACHINE), Certificates{issuer_});
    Place(0, ~DWORD{CRYPT_MACHINE_KEYSET});
    EXPECT_EQ(Stored(L"MY"), Certificates{leaf_});
    EXPECT_EQ(Stored(L"ROOT"), Certificates{issuer_});
}

// Their signatures are nonsense here, and out of date they may be too.
TEST_F(SystemStoresTest, IssuersAreAskedForWithoutAnyCheck) {
    Add(leaf_, L"container");
    Add(issuer_);
    Place();
    EXPECT_EQ(Calls().Parameters("CertGetIssuerCertificateFromStore"), (std::vector<DWORD>{0, 0}));
}

TEST_F(SystemStoresTest, APropertyThatCannotBeReadIsNoKey) {
    Add(leaf_, L"container");
    for (const int n : {1, 2}) {
        Calls().FailNamed("CertGetCertificateContextProperty", n, 5);
        Place(kInjected);
        EXPECT_EQ(Stored(L"MY"), Certificates{});
    }
}

TEST_F(SystemStoresTest, ARecordThatNamesNoContainerIsNoKey) {
    Tie(Add(leaf_), nullptr);
    Add(issuer_);
    Place(kInjected);
    EXPECT_EQ(Stored(L"MY"), Certificates{});
    EXPECT_EQ(Stored(L"ROOT"), Certificates{});
}

TEST_F(SystemStoresTest, ARecordThatHasItsTextsElsewhereIsAKey) {
    Add(leaf_);
    Calls().ReplaceProperty(RecordOf(L"container"));
    Place();
    EXPECT_EQ(Stored(L"MY"), Certificates{leaf_});
}

TEST_F(SystemStoresTest, ARecordThatIsCutShortIsNoKey) {
    Add(leaf_);
    auto record = RecordOf(L"container");
    record.pop_back();
    Calls().ReplaceProperty(record);
    Place(kInjected);
    EXPECT_EQ(Stored(L"MY"), Certificates{});
}

TEST_F(SystemStoresTest, ARecordThatComesWithARefusalIsNoKey) {
    Add(leaf_);
    Calls().ReplaceProperty(RecordOf(L"container"));
    Calls().FailNamed("CertGetCertificateContextProperty", 2, 5);
    Place(kInjected);
    EXPECT_EQ(Stored(L"MY"), Certificates{});
}

TEST_F(SystemStoresTest, WithoutMemoryForARecordItsCertificateIsPassedOver) {
    Add(leaf_, L"container");
    test_support::CHeap::Get().FailCalloc(true);
    Place(kInjected);
    test_support::CHeap::Get().FailCalloc(false);
    EXPECT_EQ(Stored(L"MY"), Certificates{});
}

TEST_F(SystemStoresTest, TheRecordsThatWereReadAreFreed) {
    Add(leaf_, L"container");
    Tie(Add(issuer_), nullptr);
    const std::size_t before = test_support::CHeap::Get().OpenBlocks();
    Place();
    EXPECT_EQ(test_support::CHeap::Get().OpenBlocks(), before);
}

TEST_F(SystemStoresTest, WithoutACertificateOrAStoreItIsBadData) {
    const CertContext certificate = Add(leaf_);
    EXPECT_EQ(pkisdk::PlaceCertChainInSystemStores(nullptr, source_.Get(), 0), 0);
    EXPECT_EQ(GetLastError(), kBadData);
    EXPECT_EQ(pkisdk::PlaceCertChainInSystemStores(certificate.Get(), nullptr, 0), 0);
    EXPECT_EQ(GetLastError(), kBadData);
    EXPECT_EQ(Calls().Count("CertOpenStore"), 1);  // the source
}

TEST_F(SystemStoresTest, WithoutMyNothingIsPlaced) {
    Add(leaf_, L"container");
    Calls().FailNamed("CertOpenStore", 1, 5);
    Place(kFail);
    EXPECT_EQ(Stored(L"MY"), Certificates{});
}

TEST_F(SystemStoresTest, WithoutCaOrRootTheCertificateIsInMyAlready) {
    Add(leaf_, L"container");
    Add(issuer_);
    for (const int n : {2, 3}) {
        Calls().FailNamed("CertOpenStore", n, 5);
        Place(kFail);
        EXPECT_EQ(Stored(L"MY"), Certificates{leaf_});
        EXPECT_EQ(Stored(L"ROOT"), Certificates{});
        EXPECT_EQ(Calls().OpenStores(), 1);
    }
}

TEST_F(SystemStoresTest, ALaterSuccessHidesAnEarlierFailure) {
    Add(leaf_, L"one");
    Add(MakeCertificate("other", "issuer", 2), L"two");
    Calls().FailNamed("CertOpenStore", 1, 5);
    Place();
    EXPECT_EQ(Stored(L"MY").size(), 1u);
}

TEST_F(SystemStoresTest, ALaterFailureIsToldAfterAnEarlierSuccess) {
    Add(leaf_, L"one");
    Add(MakeCertificate("other", "issuer", 2), L"two");
    // Three stores for each.
    Calls().FailNamed("CertOpenStore", 4, 5);
    Place(kFail);
    EXPECT_EQ(Stored(L"MY").size(), 1u);
}

TEST_F(SystemStoresTest, AnAdditionThatFailsIsNotTold) {
    Add(leaf_, L"container");
    Add(issuer_);
    Calls().FailNamed("CertAddCertificateContextToStore", 1, 5);
    Place();
    EXPECT_EQ(Stored(L"MY"), Certificates{});
    EXPECT_EQ(Stored(L"ROOT"), Certificates{issuer_});
}

// The last of a chain is trusted, and one is not the last because the next could not be looked for.
TEST_F(SystemStoresTest, AnIssuerWhoseOwnCannotBeLookedForIsNotTrusted) {
    Add(leaf_, L"container");
    Add(issuer_);
    Add(root_);
    for (const int n : {1, 2, 3}) {
        Calls().FailNamed("CertGetIssuerCertificateFromStore", n,
                          static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
        Place();
        EXPECT_EQ(Stored(L"MY"), Certificates{leaf_});
        EXPECT_EQ(Stored(L"CA"), n < 3 ? Certificates{} : Certificates{issuer_});
        EXPECT_EQ(Stored(L"ROOT"), Certificates{});
    }
}

TEST_F(SystemStoresTest, IssuersInACircleEndTheWalk) {
    const Bytes first = MakeCertificate("first", "second");
    const Bytes second = MakeCertificate("second", "first");
    Add(MakeCertificate("leaf", "first"), L"container");
    Add(first);
    Add(second);
    Place();
    EXPECT_EQ(Stored(L"CA"), Sorted({first, second}));
    EXPECT_EQ(Stored(L"ROOT"), Certificates{});
}

TEST_F(SystemStoresTest, IssuersThatLeadIntoACircleEndTheWalk) {
    Certificates all = {MakeCertificate("1", "2"), MakeCertificate("2", "3"),
                        MakeCertificate("3", "4"), MakeCertificate("4", "5"),
                        MakeCertificate("5", "3")};
    Add(MakeCertificate("leaf", "1"), L"container");
    for (const Bytes& certificate : all) {
        Add(certificate);
    }
    Place();
    EXPECT_EQ(Stored(L"CA"), Sorted(all));
    EXPECT_EQ(Stored(L"ROOT"), Certificates{});
}

}  // namespace
