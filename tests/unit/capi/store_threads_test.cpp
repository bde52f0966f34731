#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "support/certificates.h"
#include "support/fake_csp.h"
#include "support/in_threads.h"
#include "support/scoped_environment.h"

namespace {

using test_support::Certificate;
using test_support::Chain;
using test_support::InThreads;
using test_support::OpenStore;

constexpr int kThreads = 8;

void SetText(PCCERT_CONTEXT context, DWORD number, std::string text) {
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(text.size()), reinterpret_cast<BYTE*>(text.data())};
    EXPECT_TRUE(CertSetCertificateContextProperty(context, number, 0, &blob));
}

// Adds, walks, names and deletes in one store, over and over.
void Work(HCERTSTORE store, int thread, int rounds) {
    const auto& bytes = thread % 2 == 0 ? Chain().leaf : Chain().issuer;
    for (int i = 0; i < rounds; ++i) {
        const Certificate source(bytes);
        PCCERT_CONTEXT added = nullptr;
        ASSERT_TRUE(CertAddCertificateContextToStore(
            store, source.Get(),
            i % 3 == 0 ? CERT_STORE_ADD_REPLACE_EXISTING : CERT_STORE_ADD_USE_EXISTING, &added));
        SetText(added, CERT_FIRST_USER_PROP_ID + static_cast<DWORD>(thread), "text");
        PCCERT_CONTEXT at = nullptr;
        while ((at = CertEnumCertificatesInStore(store, at)) != nullptr) {
            CertEnumCertificateContextProperties(at, 0);
        }
        if (i % 5 == 0) {
            EXPECT_TRUE(CertDeleteCertificateFromStore(added));
        } else {
            EXPECT_TRUE(CertFreeCertificateContext(added));
        }
    }
}

TEST(StoreThreads, ShareAMemoryStore) {
    Chain();
    const OpenStore store;
    InThreads(kThreads, [&store](int thread) { Work(store.Get(), thread, 100); });
    EXPECT_LE(store.All().size(), 2u);
}

TEST(StoreThreads, ShareASystemStoreThroughHandlesOfTheirOwn) {
    Chain();
    const test_support::ScopedFolder folder;
    const test_support::ScopedVariable home("VELMORIX_HOME", (folder / "home").string());
    InThreads(kThreads, [](int thread) {
        const OpenStore store(L"MY");
        Work(store.Get(), thread, 10);
    });
    EXPECT_LE(OpenStore(L"MY").All().size(), 2u);
}

TEST(StoreThreads, KeepOneKeyContextForOneCertificate) {
    const test_support::ScopedSettings settings(test_support::FakeCspSettings(MVLPFX_FAKE_CSP));
    const Certificate leaf(Chain().leaf);
    std::wstring container = L"box";
    std::wstring provider = L"Fake Provider";
    const CRYPT_KEY_PROV_INFO info{
        container.data(), provider.data(), test_support::kFakeCspType, 0, 0,
        nullptr,          AT_KEYEXCHANGE};
    ASSERT_TRUE(
        CertSetCertificateContextProperty(leaf.Get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
    std::atomic<HCRYPTPROV> first = 0;
    InThreads(kThreads, [&](int) {
        for (int i = 0; i < 100; ++i) {
            HCRYPTPROV key = 0;
            BOOL isCallers = TRUE;
            ASSERT_TRUE(CryptAcquireCertificatePrivateKey(leaf.Get(), CRYPT_ACQUIRE_CACHE_FLAG,
                                                          nullptr, &key, nullptr, &isCallers));
            EXPECT_FALSE(isCallers);
            HCRYPTPROV expected = 0;
            EXPECT_TRUE(first.compare_exchange_strong(expected, key) || expected == key);
        }
    });
}

TEST(StoreThreads, CountTheReferencesOfOneContext) {
    PCCERT_CONTEXT const leaf = Certificate(Chain().leaf).Leave();
    InThreads(kThreads, [leaf](int) {
        for (int i = 0; i < 1000; ++i) {
            ASSERT_EQ(CertDuplicateCertificateContext(leaf), leaf);
            CertFreeCertificateContext(leaf);
        }
    });
    EXPECT_EQ(leaf->cbCertEncoded, Chain().leaf.size());
    CertFreeCertificateContext(leaf);
    EXPECT_EQ(CertDuplicateCertificateContext(leaf), nullptr);
}

}  // namespace
