// Documents made from keys of the built provider.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/certificates.h"
#include "support/export_salts.h"
#include "support/key_calls.h"
#include "support/key_store.h"
#include "support/platform_calls.h"
#include "support/reference_document.h"

namespace {

using test_support::Bytes;
using test_support::Certificate;
using test_support::Chain;
using test_support::KeyCalls;
using test_support::PlatformCalls;
using test_support::ReferenceDocument;

constexpr DWORD kWithNames = 0x10;
constexpr char kPassword[] = "Пароль";
constexpr wchar_t kWidePassword[] = L"Пароль";

// Clears the stand-ins, whose record of the preparations is of no interest.
void ResetCalls() {
    PlatformCalls::Get().Reset();
    KeyCalls::Get().Reset();
}

Bytes Create(HCERTSTORE store, DWORD flags = 0) {
    PfxBlob pfx{0, nullptr};
    EXPECT_TRUE(UzCreatePFX(store, &pfx, kWidePassword, flags)) << std::hex << GetLastError();
    Bytes document(pfx.cbData);
    pfx.pbData = document.data();
    EXPECT_TRUE(UzCreatePFX(store, &pfx, kWidePassword, flags)) << std::hex << GetLastError();
    EXPECT_EQ(pfx.cbData, document.size());
    EXPECT_EQ(GetLastError(), 0u);
    return document;
}

// The key of that container, wrapped by the provider under a session key that the test derives.
Bytes WrappedKey(const std::string& container, ALG_ID hash, const std::string& cipherOid,
                 const Bytes& salt) {
    HCRYPTPROV context = 0;
    EXPECT_TRUE(CryptAcquireContextA(&context, container.c_str(), test_support::kProviderName,
                                     test_support::kProviderType, 0));
    HCRYPTKEY key = 0;
    EXPECT_TRUE(CryptGetUserKey(context, AT_SIGNATURE, &key));
    const Bytes derived = test_support::ReferencePbkdf2(hash, kPassword, salt, 2000, 40);
    HCRYPTKEY session = 0;
    EXPECT_TRUE(CryptGenKey(context, test_support::kGost28147, 0, &session));
    EXPECT_TRUE(CryptSetKeyParam(session, KP_KEYVAL, derived.data(), 0));
    EXPECT_TRUE(CryptSetKeyParam(session, KP_IV, derived.data() + 32, 0));
    EXPECT_TRUE(
        CryptSetKeyParam(session, 104, reinterpret_cast<const BYTE*>(cipherOid.c_str()), 0));
    DWORD size = 0;
    EXPECT_TRUE(CryptExportKey(key, session, PRIVATEKEYBLOB, 0x1000, nullptr, &size));
    Bytes blob(size);
    EXPECT_TRUE(CryptExportKey(key, session, PRIVATEKEYBLOB, 0x1000, blob.data(), &size));
    CryptDestroyKey(session);
    CryptDestroyKey(key);
    CryptReleaseContext(context, 0);
    EXPECT_GT(blob.size(), 8u);
    blob.erase(blob.begin(), blob.begin() + 8);
    return blob;
}

struct KeyKind {
    const char* name;
    ALG_ID algorithm;
    ALG_ID hash;
    const char* cipherOid;
};

constexpr KeyKind kKinds[] = {{"2001", 0x2E23, 0x801E, "1.2.643.2.2.31.1"},
                              {"2012-256", 0x2E49, 0x8022, "1.2.643.7.1.2.5.1.1"},
                              {"2012-512", 0x2E3D, 0x8022, "1.2.643.7.1.2.5.1.1"}};

class CreateDocuments : public ::testing::Test {
  protected:
    CreateDocuments() { expected_.password = kPassword; }
    ~CreateDocuments() override { ResetCalls(); }

    void AddKey(const KeyKind& kind, const std::string& container) {
        expected_.certificates.push_back({store_.AddKey(container, kind.algorithm), true});
        expected_.keys.push_back(
            {static_cast<std::uint32_t>(expected_.keys.size()) + 1, kind.hash, {}, {}, {}});
        expected_.hash = kind.hash;
        keys_.push_back({kind, container});
    }
    void AddCertificate(const Bytes& certificate) {
        store_.Add(certificate);
        expected_.certificates.push_back({certificate, false});
    }
    void ExpectDocument(DWORD flags = 0) {
        ResetCalls();
        const test_support::ExportSalts salts(0x51);
        const Bytes document = Create(store_.Get(), flags);
        ExpectNothingOpen();
        TakeSalts(document, Bytes(32, salts.Octet()));
        EXPECT_EQ(document, expected_.Build());
    }

    test_support::KeyStore store_;
    ReferenceDocument expected_;

  private:
    struct ContainerKey {
        KeyKind kind;
        std::string container;
    };

    static void ExpectNothingOpen() {
        const PlatformCalls& calls = PlatformCalls::Get();
        EXPECT_EQ(calls.OpenContexts(), 0);
        EXPECT_EQ(calls.OpenKeys(), 0);
        EXPECT_EQ(calls.OpenHashes(), 0);
        EXPECT_EQ(calls.OpenRegistryKeys(), 0);
        EXPECT_EQ(calls.OpenHeapBlocks(), 0);
    }
    // What is expected under the salts that the document was made with.
    void TakeSalts(const Bytes& document, const Bytes& salt) {
        expected_.keySalt = salt;
        expected_.certificateSalt = salt;
        for (std::size_t i = 0; i < keys_.size(); ++i) {
            const auto& [kind, container] = keys_[i];
            expected_.keys[i].wrapped = WrappedKey(container, kind.hash, kind.cipherOid, salt);
        }
        // A salt that reads as an element, or whose value does, is drawn again.
        constexpr std::ptrdiff_t kCountField = 4;
        ASSERT_GT(document.size(), 100u);
        expected_.macSalt.assign(document.end() - kCountField - 32, document.end() - kCountField);
    }

    std::vector<ContainerKey> keys_;
};

TEST_F(CreateDocuments, AKeyOf2001IsWrittenAsTheTableSays) {
    AddKey(kKinds[0], "one");
    ExpectDocument();
}

TEST_F(CreateDocuments, AKeyOf2012With256BitsIsWrittenAsTheTableSays) {
    AddKey(kKinds[1], "one");
    ExpectDocument();
}

TEST_F(CreateDocuments, AKeyOf2012With512BitsIsWrittenAsTheTableSays) {
    AddKey(kKinds[2], "one");
    ExpectDocument();
}

TEST_F(CreateDocuments, AMixedStoreIsWrittenAsTheTableSays) {
    AddCertificate(Chain().root);
    AddKey(kKinds[1], "first");
    AddCertificate(Chain().issuer);
    AddKey(kKinds[0], "second");
    AddKey(kKinds[2], "third");
    ExpectDocument();
}

TEST_F(CreateDocuments, NamesAreThoseOfProviderAndContainer) {
    AddKey(kKinds[1], "Контейнер");
    expected_.keys[0].providerName = test_support::kProviderName;
    expected_.keys[0].friendlyName = "Контейнер";
    ExpectDocument(kWithNames);
}

TEST_F(CreateDocuments, WithoutKeysTheProviderTakesTheEmptyParameterSetForItsDefault) {
    AddCertificate(Chain().root);
    AddCertificate(Chain().leaf);
    expected_.hash = 0x801E;
    ExpectDocument();
}

TEST_F(CreateDocuments, AKeyThatIsNotExportableEndsTheExport) {
    AddKey(kKinds[1], "good");
    store_.AddKey("bound", kKinds[1].algorithm, 0);
    ResetCalls();
    PfxBlob pfx{77, nullptr};
    EXPECT_FALSE(UzCreatePFX(store_.Get(), &pfx, kWidePassword, 0));
    EXPECT_EQ(GetLastError(), 0x80095000u);
    EXPECT_EQ(pfx.cbData, 77u);
    EXPECT_EQ(PlatformCalls::Get().OpenContexts(), 0);
    EXPECT_EQ(PlatformCalls::Get().OpenKeys(), 0);
}

TEST_F(CreateDocuments, AContainerThatIsGoneLeavesItsCertificateAndItsNumber) {
    AddKey(kKinds[1], "first");
    store_.AddKey("gone", kKinds[1].algorithm);
    HCRYPTPROV none = 0;
    ASSERT_TRUE(CryptAcquireContextA(&none, "gone", test_support::kProviderName,
                                     test_support::kProviderType, CRYPT_DELETEKEYSET));
    expected_.certificates.push_back({store_.Store().All().back(), true});
    AddKey(kKinds[1], "third");
    expected_.keys[1].index = 3;
    ExpectDocument();
}

// What is restored from a document is what was in the store.
TEST_F(CreateDocuments, ComeBackAsCertificatesAndKeys) {
    for (const KeyKind& kind : kKinds) {
        AddKey(kind, kind.name);
    }
    AddCertificate(Chain().issuer);
    ResetCalls();
    Bytes document = Create(store_.Get());
    const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    EXPECT_TRUE(UzVerifyPswPFX(&pfx, kWidePassword));
    EXPECT_FALSE(UzVerifyPswPFX(&pfx, L"пароль"));
    const test_support::OpenStore restored(UzRestorePFX(&pfx, kWidePassword, CRYPT_EXPORTABLE));
    ASSERT_NE(restored.Get(), nullptr) << std::hex << GetLastError();
    EXPECT_EQ(restored.All(), store_.Store().All());
    PCCERT_CONTEXT at = nullptr;
    int keys = 0;
    while ((at = CertEnumCertificatesInStore(restored.Get(), at)) != nullptr) {
        HCRYPTPROV_OR_NCRYPT_KEY_HANDLE context = 0;
        DWORD keySpec = 0;
        BOOL isCallers = FALSE;
        if (CryptAcquireCertificatePrivateKey(at, CRYPT_ACQUIRE_COMPARE_KEY_FLAG, nullptr, &context,
                                              &keySpec, &isCallers)) {
            ++keys;
            CryptReleaseContext(context, 0);
        }
    }
    EXPECT_EQ(keys, 3);
}

TEST_F(CreateDocuments, CertificateAuthoritiesComeBackByteForByte) {
    const std::filesystem::path folder = "/usr/share/ca-certificates/mozilla";
    if (!std::filesystem::exists(folder)) {
        GTEST_SKIP() << "SKIPPED: the package ca-certificates is not installed";
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        AddCertificate(test_support::ReadCertificate(entry.path()));
    }
    Bytes document = Create(store_.Get());
    const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    const test_support::OpenStore restored(UzRestorePFX(&pfx, kWidePassword, 0));
    ASSERT_NE(restored.Get(), nullptr) << std::hex << GetLastError();
    EXPECT_EQ(restored.All(), store_.Store().All());
    EXPECT_GT(restored.All().size(), 100u);
}

}  // namespace
