// Memory and files fail a store at each place in turn: what was in it stays, and what passes is not
// held against a certificate.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <vector>

#include "support/certificates.h"
#include "support/file_faults.h"
#include "support/heap_faults.h"
#include "support/scoped_environment.h"
#include "support/system_log.h"

// The loader keeps what it knows of libraries out of sight.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:_dl_map_object_deps\n";
}

namespace {

using test_support::Certificate;
using test_support::CertificateBytes;
using test_support::Chain;
using test_support::OpenStore;

// Also of a certificate that could not be decoded or hashed, and of a walk that passed one over.
bool IsWordOfMemory(DWORD error) {
    static const std::set<DWORD> words = {ERROR_NOT_ENOUGH_MEMORY, static_cast<DWORD>(NTE_FAIL),
                                          static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT),
                                          static_cast<DWORD>(CRYPT_E_FILE_ERROR)};
    return words.contains(error);
}

class StoreFaults : public testing::Test {
  protected:
    void SetUp() override { Chain(); }

    // Works out with ever more memory, from none, until all of it is there; `check` is told whether
    // the work was done.
    static void WithEachAllocationFailing(const std::function<BOOL()>& work,
                                          const std::function<void(bool)>& check) {
        for (std::size_t number = 1;; ++number) {
            SCOPED_TRACE(number);
            BOOL isDone = FALSE;
            DWORD error = 0;
            bool happened = false;
            {
                const heap_faults::Fail fail(number, heap_faults::Mode::kOne);
                ASSERT_NO_THROW(isDone = work());
                error = GetLastError();
                happened = fail.Happened();
            }
            EXPECT_TRUE(isDone || IsWordOfMemory(error)) << error;
            check(isDone != FALSE);
            if (!happened) {
                EXPECT_TRUE(isDone);
                return;
            }
        }
    }
    // Those that a search by hash and one by subject give.
    static bool IsFound(const OpenStore& store, const CertificateBytes& bytes) {
        const Certificate wanted(bytes);
        const auto find = [&](DWORD type, const void* what) {
            const Certificate found(
                CertFindCertificateInStore(store.Get(), X509_ASN_ENCODING, 0, type, what, nullptr));
            return found.Get() != nullptr;
        };
        return find(CERT_FIND_EXISTING, wanted.Get()) &&
               find(CERT_FIND_SUBJECT_NAME, &wanted->pCertInfo->Subject);
    }

    test_support::ScopedFolder folder_;
    test_support::ScopedVariable user_{"VELMORIX_HOME", (folder_ / "home").string()};
};

TEST_F(StoreFaults, AReplacedElementStaysWhereMemoryEndsBefore) {
    const CertificateBytes& old = Chain().leaf;
    const CertificateBytes& newer = Chain().newerLeaf;
    std::unique_ptr<OpenStore> store;
    const auto begin = [&] {
        store = std::make_unique<OpenStore>();
        ASSERT_TRUE(store->Add(old));
    };
    begin();
    WithEachAllocationFailing([&] { return store->Add(newer, CERT_STORE_ADD_NEWER); },
                              [&](bool isDone) {
                                  const CertificateBytes& there = isDone ? newer : old;
                                  EXPECT_EQ(store->All(), std::vector<CertificateBytes>{there});
                                  EXPECT_TRUE(IsFound(*store, there));
                                  begin();
                              });
}

TEST_F(StoreFaults, AnOpenSystemStoreShowsWhatIsInItsFolderWhereMemoryEnds) {
    const CertificateBytes& old = Chain().leaf;
    const CertificateBytes& newer = Chain().newerLeaf;
    std::unique_ptr<OpenStore> store;
    const auto begin = [&] {
        store.reset();
        std::filesystem::remove_all(folder_ / "home");
        store = std::make_unique<OpenStore>(L"MY");
        ASSERT_TRUE(store->Add(old));
    };
    begin();
    WithEachAllocationFailing([&] { return store->Add(newer, CERT_STORE_ADD_NEWER); },
                              [&](bool isDone) {
                                  const std::vector<CertificateBytes> all = store->All();
                                  EXPECT_EQ(all, OpenStore(L"MY").All());
                                  ASSERT_FALSE(all.empty());
                                  EXPECT_TRUE(!isDone || all.back() == newer);
                                  for (const CertificateBytes& bytes : all) {
                                      EXPECT_TRUE(bytes == old || bytes == newer);
                                      EXPECT_TRUE(IsFound(*store, bytes));
                                  }
                                  begin();
                              });
}

TEST_F(StoreFaults, ACertificateIsSeenAsSoonAsThereIsMemoryToReadIt) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    std::unique_ptr<OpenStore> store = std::make_unique<OpenStore>(L"MY");
    WithEachAllocationFailing(
        [&] {
            PCCERT_CONTEXT const first = store->First();
            CertFreeCertificateContext(first);
            return first != nullptr;
        },
        [&](bool) {
            EXPECT_EQ(store->All(), std::vector<CertificateBytes>{Chain().leaf});
            EXPECT_TRUE(IsFound(*store, Chain().leaf));
            store = std::make_unique<OpenStore>(L"MY");
        });
}

TEST_F(StoreFaults, ACertificateIsSeenAsSoonAsItsFileCanBeOpened) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    for (std::size_t number = 1, failed = 0;; ++number) {
        SCOPED_TRACE(number);
        const OpenStore store(L"MY");
        bool happened = false;
        {
            const file_faults::Fail fail(number, {EMFILE, false});
            failed += Certificate(store.First()).Get() == nullptr ? 1 : 0;
            happened = fail.Happened();
        }
        EXPECT_EQ(store.All(), std::vector<CertificateBytes>{Chain().leaf});
        if (!happened) {
            EXPECT_GE(failed, 2u);
            return;
        }
    }
}

TEST_F(StoreFaults, AFileThatStaysOutOfReachIsToldOnce) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    bool isTold = false;
    bool happened = true;
    for (std::size_t number = 1; happened && !isTold; ++number) {
        const OpenStore store(L"MY");
        test_support::SystemLog().clear();
        for (int look = 0; look < 3; ++look) {
            const file_faults::Fail fail(number, {EMFILE, false});
            CertFreeCertificateContext(store.First());
            happened = fail.Happened();
            isTold =
                happened && file_faults::LastCall() == "open" && !test_support::SystemLog().empty();
        }
        EXPECT_TRUE(!isTold || test_support::SystemLog().size() == 1);
    }
    EXPECT_TRUE(isTold);
}

TEST_F(StoreFaults, AFileThatGoesBetweenTheLookAtItsFolderAndItsReadingIsNoDamage) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    std::size_t gone = 0;
    bool happened = true;
    for (std::size_t number = 1; happened; ++number) {
        SCOPED_TRACE(number);
        const OpenStore store(L"MY");
        bool isFound = false;
        DWORD error = 0;
        {
            const file_faults::Fail fail(number, {ENOENT, false});
            isFound = Certificate(store.First()).Get() != nullptr;
            error = GetLastError();
            happened = fail.Happened();
        }
        if (!isFound && file_faults::LastCall() == "open") {
            EXPECT_EQ(error, static_cast<DWORD>(CRYPT_E_NOT_FOUND));
            ++gone;
        }
        EXPECT_EQ(store.All(), std::vector<CertificateBytes>{Chain().leaf});
    }
    EXPECT_GE(gone, 1u);
}

}  // namespace
