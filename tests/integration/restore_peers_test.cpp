// Documents that OpenSSL's GOST engine and GnuTLS made, restored into an empty profile: what comes
// out is held against what OpenSSL finds in the same document.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "pfxcrypto/handle_guards.h"
#include "support/import_fixture.h"
#include "support/peer_openssl.h"

namespace {

using pkisdk::CertContext;
using pkisdk::CertStore;
using test_support::Bytes;

constexpr char kMessage[] = "signed with a restored key";

struct PeerDocument {
    const char* name;
    // Of the key's kind: the provider's and OpenSSL's.
    ALG_ID digest;
    const char* peerDigest;
    std::size_t certificates = 1;
};

void PrintTo(const PeerDocument& document, std::ostream* stream) {
    *stream << document.name;
}

constexpr PeerDocument kDocuments[] = {
    {"openssl-2001", 0x801E, "md_gost94"},
    {"openssl-2012-256", 0x8021, "md_gost12_256"},
    {"openssl-2012-512", 0x8022, "md_gost12_512"},
    {"openssl-three-2001", 0x801E, "md_gost94"},
    {"openssl-three-2012-256", 0x8021, "md_gost12_256"},
    {"openssl-three-2012-512", 0x8022, "md_gost12_512"},
    {"openssl-one-iteration", 0x8022, "md_gost12_512"},
    {"openssl-32-bytes", 0x8021, "md_gost12_256"},
    {"openssl-named", 0x8022, "md_gost12_512"},
    {"openssl-chain", 0x8021, "md_gost12_256", 3},
    // Costs seconds a time, so it stands last, where the second look leaves it out.
    {"openssl-600000", 0x8021, "md_gost12_256"},
};

std::filesystem::path DataFile(const std::string& name) {
    return std::filesystem::path(MVLPFX_TEST_DATA) / "peers" / name;
}

Bytes ReadData(const std::string& name) {
    const std::vector<BYTE> bytes = test_support::ReadFile(DataFile(name));
    EXPECT_FALSE(bytes.empty()) << name;
    return bytes;
}

std::wstring ReadPassword(const std::string& document) {
    std::string line;
    std::ifstream file(DataFile(document + ".password"));
    std::getline(file, line);
    std::wstring wide(line.size(), L'\0');
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, line.data(), static_cast<int>(line.size()), wide.data(),
                            static_cast<int>(wide.size()))));
    return wide;
}

HCERTSTORE Restore(const std::string& name, DWORD flags = 0) {
    Bytes document = ReadData(name + ".pfx");
    const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    return UzRestorePFXToSystemStorage(&pfx, ReadPassword(name).c_str(), flags);
}

std::vector<Bytes> StoredIn(const wchar_t* name) {
    const CertStore store(
        CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER, name));
    return test_support::CertificatesOf(store.Get());
}

class RestorePeersTest : public test_support::ImportTest,
                         public testing::WithParamInterface<PeerDocument> {
  protected:
    void SetUp() override {
        ImportTest::SetUp();
        if (peer_.IsMissing()) {
            GTEST_SKIP() << "SKIPPED: OpenSSL with its GOST engine is not installed";
        }
        for (const char* const ending : {".pfx", ".password"}) {
            peer_.Write(std::string("document") + ending,
                        ReadData(GetParam().name + std::string(ending)));
        }
    }
    void Run(const std::string& arguments) { ASSERT_EQ(peer_.Run(arguments), 0) << peer_.Output(); }

    // What OpenSSL takes out of the document, in its order.
    std::vector<Bytes> CertificatesByPeer() {
        Run("pkcs12 -in document.pfx -passin file:document.password -nokeys -out all.pem");
        std::vector<Bytes> certificates;
        const Bytes text = peer_.Read("all.pem");
        const std::string end = "-----END CERTIFICATE-----";
        std::string pem(text.begin(), text.end());
        for (std::size_t at = pem.find(end); at != std::string::npos; at = pem.find(end)) {
            const std::string one = pem.substr(0, at + end.size()) + "\n";
            peer_.Write("one.pem", Bytes(one.begin(), one.end()));
            Run("x509 -in one.pem -outform DER -out one.der");
            certificates.push_back(peer_.Read("one.der"));
            pem.erase(0, at + end.size());
        }
        return certificates;
    }

    // With the key that the certificate names. OpenSSL reads signatures from their other end.
    Bytes Sign(PCCERT_CONTEXT certificate) const {
        pkisdk::ProviderContext provider;
        pkisdk::ProviderHash hash;
        DWORD keySpec = 0;
        BOOL isCallers = FALSE;
        DWORD size = 0;
        EXPECT_TRUE(CryptAcquireCertificatePrivateKey(
            certificate, CRYPT_ACQUIRE_SILENT_FLAG, nullptr, provider.Put(), &keySpec, &isCallers));
        EXPECT_EQ(keySpec, DWORD{AT_KEYEXCHANGE});
        EXPECT_TRUE(CryptCreateHash(provider.Get(), GetParam().digest, 0, 0, hash.Put()));
        EXPECT_TRUE(CryptHashData(hash.Get(), reinterpret_cast<const BYTE*>(kMessage),
                                  sizeof kMessage - 1, 0));
        EXPECT_TRUE(CryptSignHashA(hash.Get(), keySpec, nullptr, 0, nullptr, &size));
        Bytes signature(size);
        EXPECT_TRUE(CryptSignHashA(hash.Get(), keySpec, nullptr, 0, signature.data(), &size))
            << std::hex << GetLastError();
        std::reverse(signature.begin(), signature.end());
        return signature;
    }
    // The exit code of OpenSSL's verification.
    int VerifyByPeer(const Bytes& signature, const std::string& message) {
        peer_.Write("signature", signature);
        peer_.Write("message", Bytes(message.begin(), message.end()));
        return peer_.Run(std::string("dgst -") + GetParam().peerDigest +
                         " -verify public.pem -signature signature message");
    }
    // The private key of a document, as OpenSSL reads it.
    Bytes KeyByPeer(const std::string& file) {
        Run("pkcs12 -in " + file + " -passin file:document.password -nocerts -nodes -out key.pem");
        Run("pkey -in key.pem -text -noout -out key.text");
        return peer_.Read("key.text");
    }

    test_support::PeerOpenssl peer_;
};

TEST_P(RestorePeersTest, CertificatesComeOutByteForByteAndTheKeySigns) {
    const CertStore store(Restore(GetParam().name));
    ASSERT_TRUE(store) << std::hex << GetLastError();
    EXPECT_EQ(GetLastError(), 0u);
    const std::vector<Bytes> certificates = test_support::CertificatesOf(store.Get());
    EXPECT_EQ(certificates.size(), GetParam().certificates);
    EXPECT_EQ(certificates, CertificatesByPeer());
    EXPECT_EQ(UserContainers(), 1u);

    // The key's certificate comes first in the documents of this peer.
    const CertContext tied(CertEnumCertificatesInStore(store.Get(), nullptr));
    const auto places = test_support::KeyPlacesOf(store.Get());
    EXPECT_EQ(std::count_if(places.begin(), places.end(), [](const auto& place) { return place; }),
              1);
    ASSERT_TRUE(places[0].has_value());
    EXPECT_EQ(StoredIn(L"MY"), std::vector<Bytes>{certificates[0]});
    const Bytes signature = Sign(tied.Get());
    peer_.Write("tied.der", certificates[0]);
    Run("x509 -inform DER -in tied.der -pubkey -noout -out public.pem");
    EXPECT_EQ(VerifyByPeer(signature, kMessage), 0) << peer_.Output();
    EXPECT_NE(VerifyByPeer(signature, "another message"), 0);
}

class RestorePeersKeyTest : public RestorePeersTest {};

TEST_P(RestorePeersKeyTest, TheKeyThatLeavesAgainIsTheDocuments) {
    CertStore store(Restore(GetParam().name, CRYPT_EXPORTABLE));
    ASSERT_TRUE(store) << std::hex << GetLastError();
    const std::wstring password = ReadPassword(GetParam().name);
    PfxBlob pfx{0, nullptr};
    ASSERT_TRUE(UzCreatePFX(store.Get(), &pfx, password.c_str(), 0)) << std::hex << GetLastError();
    Bytes document(pfx.cbData);
    pfx.pbData = document.data();
    ASSERT_TRUE(UzCreatePFX(store.Get(), &pfx, password.c_str(), 0));
    peer_.Write("again.pfx", document);
    EXPECT_EQ(KeyByPeer("again.pfx"), KeyByPeer("document.pfx"));
    store.Reset();
    // An export keeps references of its own, which are not counted here.
    Calls().Reset();
}

std::string NameOf(const testing::TestParamInfo<PeerDocument>& document) {
    std::string name = document.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(OfOpenssl, RestorePeersTest, testing::ValuesIn(kDocuments), NameOf);
INSTANTIATE_TEST_SUITE_P(OfOpenssl, RestorePeersKeyTest,
                         testing::ValuesIn(std::begin(kDocuments), std::end(kDocuments) - 1),
                         NameOf);

class RestorePeerTest : public test_support::ImportTest {};

TEST_F(RestorePeerTest, AFriendlyNameBecomesTheContainersName) {
    CertCloseStore(Restore("openssl-named"), 0);
    pkisdk::ProviderContext provider;
    EXPECT_TRUE(CryptAcquireContextA(provider.Put(), "Имя ключа",
                                     "Velmorix Cryptographic Service Provider", 2, CRYPT_SILENT))
        << std::hex << GetLastError();
}

TEST_F(RestorePeerTest, AChainGoesToTheSystemStoresByItsRoles) {
    const CertStore store(Restore("openssl-chain"));
    const std::vector<Bytes> certificates = test_support::CertificatesOf(store.Get());
    ASSERT_EQ(certificates.size(), 3u);
    EXPECT_EQ(StoredIn(L"MY"), std::vector<Bytes>{certificates[0]});
    EXPECT_EQ(StoredIn(L"CA"), std::vector<Bytes>{certificates[1]});
    EXPECT_EQ(StoredIn(L"ROOT"), std::vector<Bytes>{certificates[2]});
}

// Two restores of one document: the second key's container has another name.
TEST_F(RestorePeerTest, TheSameDocumentRestoresAgain) {
    for (const std::size_t containers : {1U, 2U}) {
        const CertStore store(Restore("openssl-named"));
        EXPECT_TRUE(store);
        EXPECT_EQ(UserContainers(), containers);
        EXPECT_EQ(StoredIn(L"MY").size(), 1u);
    }
}

TEST_F(RestorePeerTest, DocumentsOfGnutlsVerifyAndAreRefused) {
    Bytes document = ReadData("gnutls-2012-256.pfx");
    const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    EXPECT_TRUE(UzVerifyPswPFX(&pfx, ReadPassword("gnutls-2012-256").c_str()));
    EXPECT_EQ(Restore("gnutls-2012-256"), nullptr);
    EXPECT_EQ(GetLastError(), test_support::kCorrupt);
    EXPECT_EQ(UserContainers(), 0u);
    EXPECT_TRUE(StoredIn(L"MY").empty());
}

TEST_F(RestorePeerTest, APasswordOf33BytesIsRefused) {
    EXPECT_EQ(Restore("openssl-33-bytes"), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PASSWORD));
    EXPECT_EQ(UserContainers(), 0u);
}

}  // namespace
