// Stores, contexts and keys together, from eight threads.
#include <atomic>

#include "integration/own_keys.h"
#include "support/in_threads.h"

namespace {

using own_keys::Bytes;
using own_keys::Container;
using own_keys::kGost2012_256;
using own_keys::SelfSign;
using test_support::Certificate;
using test_support::InThreads;
using test_support::OpenStore;

constexpr int kThreads = 8;
const Bytes kData = {'d', 'a', 't', 'a'};

class OwnKeyThreads : public own_keys::OwnKeysTest {
  protected:
    OwnKeyThreads() {
        publicKeyInfo_ = own_keys::PublicKeyInfo(own_keys::Decode(shared_.Get()).get());
    }

    // Adds the certificate to the store and signs with the key that the store's copy leads to.
    void SignThroughStore(HCERTSTORE store, DWORD flags) const {
        PCCERT_CONTEXT added = nullptr;
        ASSERT_TRUE(CertAddCertificateContextToStore(store, shared_.Get(),
                                                     CERT_STORE_ADD_USE_EXISTING, &added));
        const Certificate owned(added);
        HCRYPTPROV key = 0;
        DWORD keySpec = 0;
        BOOL isCallers = FALSE;
        ASSERT_TRUE(CryptAcquireCertificatePrivateKey(added, flags | CRYPT_ACQUIRE_COMPARE_KEY_FLAG,
                                                      nullptr, &key, &keySpec, &isCallers));
        EXPECT_EQ(isCallers == FALSE, (flags & CRYPT_ACQUIRE_CACHE_FLAG) != 0);
        const Bytes signature = own_keys::Sign(key, kGost2012_256, kData);
        EXPECT_TRUE(own_keys::Verifies(kGost2012_256, publicKeyInfo_, kData, signature));
        if (isCallers) {
            EXPECT_TRUE(CryptReleaseContext(key, 0));
        }
    }

    const Container container_{"shared"};
    const Certificate shared_{SelfSign(container_.Generate(kGost2012_256.algorithm).Get())};
    Bytes publicKeyInfo_;
};

TEST_F(OwnKeyThreads, SignThroughOneStoreWhileOthersMakeKeys) {
    const OpenStore store;
    InThreads(kThreads, [&](int thread) {
        const std::string name = "of thread " + std::to_string(thread);
        for (int round = 0; round < 4; ++round) {
            SignThroughStore(store.Get(), round % 2 == 0 ? CRYPT_ACQUIRE_CACHE_FLAG : 0);
            {
                const Container own(name.c_str());
                const Certificate made(SelfSign(own.Generate(kGost2012_256.algorithm).Get()));
                ASSERT_NE(made.Get(), nullptr);
                PCCERT_CONTEXT added = nullptr;
                ASSERT_TRUE(CertAddCertificateContextToStore(store.Get(), made.Get(),
                                                             CERT_STORE_ADD_NEW, &added));
                EXPECT_TRUE(CertDeleteCertificateFromStore(added));
            }
            HCRYPTPROV none = 0;
            ASSERT_TRUE(CryptAcquireContextA(&none, name.c_str(), test_support::kProviderName,
                                             test_support::kProviderType, CRYPT_DELETEKEYSET));
        }
    });
    EXPECT_EQ(store.All().size(), 1U);
}

TEST_F(OwnKeyThreads, SignThroughASystemStoreOfHandlesOfTheirOwn) {
    InThreads(kThreads, [&](int) {
        for (int round = 0; round < 3; ++round) {
            const OpenStore store(L"MY");
            SignThroughStore(store.Get(), 0);
        }
    });
    EXPECT_EQ(OpenStore(L"MY").All().size(), 1U);
}

// Half of the threads take away what the others work with: contexts, keys and hashes end under
// calls that go on, and those succeed or say that there is no such object.
TEST_F(OwnKeyThreads, LoseTheirObjectsToOthersWithAWord) {
    std::atomic<HCRYPTPROV> context = 0;
    std::atomic<HCRYPTKEY> key = 0;
    std::atomic<HCRYPTHASH> hash = 0;
    std::atomic<int> running = kThreads / 2;
    std::atomic<int> done = 0;
    const auto expectKnown = [&done](BOOL answer) {
        if (answer) {
            ++done;
            return;
        }
        switch (GetLastError()) {
            case ERROR_INVALID_HANDLE:
            case ERROR_BUSY:
            case static_cast<DWORD>(NTE_BAD_UID):
            case static_cast<DWORD>(NTE_BAD_KEY):
            case static_cast<DWORD>(NTE_BAD_HASH):
            case static_cast<DWORD>(NTE_BAD_HASH_STATE):
            case static_cast<DWORD>(NTE_NO_KEY):
                break;
            default:
                ADD_FAILURE() << std::hex << GetLastError();
        }
    };
    const auto make = [&] {
        // Until the others have come to their turn, too.
        for (int round = 0; round < 60 || done == 0; ++round) {
            HCRYPTPROV newContext = 0;
            HCRYPTKEY newKey = 0;
            HCRYPTHASH newHash = 0;
            ASSERT_TRUE(CryptAcquireContextA(&newContext, "shared", test_support::kProviderName,
                                             test_support::kProviderType, 0));
            ASSERT_TRUE(CryptGetUserKey(newContext, AT_SIGNATURE, &newKey));
            ASSERT_TRUE(CryptCreateHash(newContext, kGost2012_256.hash, 0, 0, &newHash));
            const HCRYPTPROV oldContext = context.exchange(newContext);
            const HCRYPTKEY oldKey = key.exchange(newKey);
            const HCRYPTHASH oldHash = hash.exchange(newHash);
            // In this order one time, by the context's end another.
            if (round % 2 == 0) {
                CryptDestroyHash(oldHash);
                CryptDestroyKey(oldKey);
            }
            CryptReleaseContext(oldContext, 0);
        }
        --running;
    };
    const auto use = [&] {
        while (running.load() != 0) {
            BYTE octets[256] = {};
            DWORD size = sizeof(octets);
            expectKnown(CryptGetKeyParam(key, KP_PERMISSIONS, octets, &size, 0));
            expectKnown(CryptHashData(hash, kData.data(), static_cast<DWORD>(kData.size()), 0));
            size = sizeof(octets);
            expectKnown(CryptSignHashW(hash, AT_SIGNATURE, nullptr, 0, octets, &size));
            size = sizeof(octets);
            expectKnown(CryptExportKey(key, 0, PUBLICKEYBLOB, 0, octets, &size));
            size = sizeof(octets);
            expectKnown(CryptGetProvParam(context, PP_CONTAINER, octets, &size, 0));
        }
    };
    InThreads(kThreads, [&](int thread) { thread % 2 == 0 ? make() : use(); });
    EXPECT_TRUE(CryptReleaseContext(context, 0));
}

}  // namespace
