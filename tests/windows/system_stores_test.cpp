#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include "windows/keys_and_documents.h"

namespace windows_tests {
namespace {

using mvlpfx::OwnedCertificate;
using mvlpfx::OwnedStore;

// The certificate of the store with this text in its subject; none where there is none.
OwnedCertificate Find(const OwnedStore& store, const wchar_t* subject) {
    return OwnedCertificate(CertFindCertificateInStore(store.Get(), X509_ASN_ENCODING, 0,
                                                       CERT_FIND_SUBJECT_STR_W, subject, nullptr));
}

// What these put into system stores stays there: they need a prefix of their own.
TEST(WindowsSystemStores, OwnCertificateIsReadBackFromMyWithItsKey) {
    const KeyContainer container("own of MY", 0x2E49);
    const OwnedStore store = MemoryStore({container.Certificate()});
    const Bytes document = Create(store.Get(), L"secret");
    const PfxBlob pfx = View(document);
    const OwnedStore restored(UzRestorePFXToSystemStorage(&pfx, L"secret", 0));
    ASSERT_TRUE(restored) << std::hex << GetLastError();
    EXPECT_EQ(GetLastError(), 0U);
    const OwnedStore my = mvlpfx::OpenSystemStore("MY", false);
    const OwnedCertificate found = Find(my, L"own of MY");
    ASSERT_TRUE(found);
    EXPECT_EQ(Encoded(found.Get()), Encoded(container.Certificate()));
    EXPECT_EQ(PublicKeyBehind(found.Get()), PublicKeyBehind(All(restored.Get())[0].Get()));
    EXPECT_FALSE(PublicKeyBehind(found.Get()).empty());
    DeleteKeyOf(found.Get());
}

// A key's certificate, the one above it and the root, in a document of OpenSSL.
TEST(WindowsSystemStores, ChainIsReadBackFromMyCaAndRoot) {
    std::ifstream file(MVLPFX_TEST_DATA "/peers/openssl-chain.pfx", std::ios::binary);
    const Bytes document{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const PfxBlob pfx = View(document);
    const OwnedStore restored(UzRestorePFXToSystemStorage(&pfx, L"chain", 0));
    ASSERT_TRUE(restored) << std::hex << GetLastError();
    EXPECT_EQ(GetLastError(), 0U);
    for (const auto& [name, subject] :
         {std::pair{"MY", L"chain"}, std::pair{"CA", L"issuer"}, std::pair{"ROOT", L"root"}}) {
        const OwnedCertificate expected = Find(restored, subject);
        ASSERT_TRUE(expected) << name;
        const OwnedStore store = mvlpfx::OpenSystemStore(name, false);
        const OwnedCertificate found(CertFindCertificateInStore(
            store.Get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, expected.Get(), nullptr));
        ASSERT_TRUE(found) << name;
        EXPECT_EQ(PublicKeyBehind(found.Get()).empty(), std::string(name) != "MY") << name;
        if (std::string(name) == "MY") {
            DeleteKeyOf(found.Get());
        }
    }
}

}  // namespace
}  // namespace windows_tests
