#include "pfximport/bag_encryption.h"

#include <gtest/gtest.h>

#include "asn/asn_object_readable.h"
#include "pfxcrypto/pfx_constants.h"
#include "support/import_fixture.h"

namespace {

using pkisdk::BagEncryption;
using pkisdk::Blob;
using test_support::Bytes;
using test_support::Encryption;
using test_support::kBadAlgorithm;
using test_support::kBadData;
using test_support::kInjected;
using test_support::ToBlob;

class BagEncryptionTest : public test_support::ImportTest {
  protected:
    static DWORD Read(const Bytes& identifier, BagEncryption* encryption) {
        const Blob octets = ToBlob(identifier);
        pkisdk::asn::PBES2AlgIdentifier scheme;
        scheme.DeserializeFromAsnObject(pkisdk::asn::AsnObjectReadable::FromBlob(octets), "");
        return pkisdk::ReadBagEncryption(scheme, encryption);
    }
    static pkisdk::ProviderContext Acquire() {
        pkisdk::ProviderContext provider;
        EXPECT_TRUE(CryptAcquireContextA(provider.Put(), nullptr, pkisdk::kProviderName,
                                         pkisdk::kProviderType, CRYPT_VERIFYCONTEXT));
        return provider;
    }
};

TEST_F(BagEncryptionTest, ReadsEveryField) {
    Encryption written;
    written.parameterSet = "1.2.643.7.1.2.5.1.1";
    written.iterations = 70000;
    BagEncryption read;
    EXPECT_EQ(Read(written.AlgorithmIdentifier(), &read), 0u);
    EXPECT_EQ(read.cipher, 0x661Eu);
    EXPECT_EQ(read.hash, 0x8021u);
    EXPECT_EQ(read.iterations, 70000u);
    EXPECT_EQ(read.salt, ToBlob(written.salt));
    EXPECT_EQ(read.vector, ToBlob(written.vector));
    EXPECT_EQ(read.parameterSet, "1.2.643.7.1.2.5.1.1");
}

TEST_F(BagEncryptionTest, KnowsTheThreeFunctions) {
    const struct {
        const char* prf;
        ALG_ID hash;
    } kRows[] = {
        {"1.2.643.2.2.10", 0x801E},
        {"1.2.643.7.1.1.4.1", 0x8021},
        {"1.2.643.7.1.1.4.2", 0x8022},
    };
    for (const auto& row : kRows) {
        Encryption written;
        written.prf = row.prf;
        BagEncryption read;
        EXPECT_EQ(Read(written.AlgorithmIdentifier(), &read), 0u);
        EXPECT_EQ(read.hash, row.hash) << row.prf;
    }
}

TEST_F(BagEncryptionTest, AnotherFunctionIsABadAlgorithm) {
    for (const char* const prf : {"1.2.840.113549.2.7", "1.2.643.7.1.1.2.2", "1.2.643.2.2"}) {
        Encryption written;
        written.prf = prf;
        BagEncryption read;
        EXPECT_EQ(Read(written.AlgorithmIdentifier(), &read), kBadAlgorithm) << prf;
    }
}

TEST_F(BagEncryptionTest, ACipherThatThePlatformDoesNotKnowIsABadAlgorithm) {
    Encryption written;
    written.cipher = "2.16.840.1.101.3.4.1.42";
    BagEncryption read;
    EXPECT_EQ(Read(written.AlgorithmIdentifier(), &read), kBadAlgorithm);
}

TEST_F(BagEncryptionTest, TheCipherIsLookedUpByItsDottedText) {
    std::string asked;
    Calls().ReplaceOidInfo([&asked](const char* oid) -> PCCRYPT_OID_INFO {
        asked = oid;
        return nullptr;
    });
    BagEncryption read;
    EXPECT_EQ(Read(Encryption().AlgorithmIdentifier(), &read), kBadAlgorithm);
    EXPECT_EQ(asked, "1.2.643.2.2.21");
}

TEST_F(BagEncryptionTest, TheKeyDecryptsWhatLibgcryptEncrypted) {
    const Bytes plain(3000, 0x5A);
    for (const char* const parameterSet :
         {"1.2.643.2.2.31.1", "1.2.643.2.2.31.2", "1.2.643.7.1.2.5.1.1"}) {
        Encryption written;
        written.parameterSet = parameterSet;
        BagEncryption read;
        ASSERT_EQ(Read(written.AlgorithmIdentifier(), &read), 0u);
        const pkisdk::ProviderContext provider = Acquire();
        pkisdk::ProviderKey key;
        ASSERT_TRUE(pkisdk::MakeBagKey("Password1", provider.Get(), read, &key))
            << std::hex << GetLastError();
        Bytes data = written.Encrypt("Password1", plain);
        auto size = static_cast<DWORD>(data.size());
        EXPECT_TRUE(CryptDecrypt(key.Get(), 0, TRUE, 0, data.data(), &size));
        EXPECT_EQ(data, plain) << parameterSet;
    }
}

// The derivation's own vector comes before both.
TEST_F(BagEncryptionTest, TheKeyGetsTheVectorAndThenTheParameterSet) {
    const pkisdk::ProviderContext provider = Acquire();
    BagEncryption read;
    ASSERT_EQ(Read(Encryption().AlgorithmIdentifier(), &read), 0u);
    pkisdk::ProviderKey key;
    ASSERT_TRUE(pkisdk::MakeBagKey("Password1", provider.Get(), read, &key));
    const auto& set = Calls().KeyParams();
    ASSERT_GE(set.size(), 2u);
    EXPECT_EQ(std::vector(set.end() - 2, set.end()),
              (std::vector<DWORD>{KP_IV, pkisdk::kCipherOidParameter}));
}

TEST_F(BagEncryptionTest, AVectorThatIsTooShortIsBadDataAndALongerOneIsCut) {
    const pkisdk::ProviderContext provider = Acquire();
    BagEncryption read;
    ASSERT_EQ(Read(Encryption().AlgorithmIdentifier(), &read), 0u);
    for (const std::uint64_t size : {0U, 1U, 7U}) {
        BagEncryption cut = read;
        cut.vector.SetSize(size);
        pkisdk::ProviderKey key;
        EXPECT_FALSE(pkisdk::MakeBagKey("Password1", provider.Get(), cut, &key));
        EXPECT_EQ(GetLastError(), kBadData) << size;
    }
    read.vector.SetSize(9);
    pkisdk::ProviderKey key;
    EXPECT_TRUE(pkisdk::MakeBagKey("Password1", provider.Get(), read, &key));
}

TEST_F(BagEncryptionTest, FailuresLeaveTheReason) {
    const pkisdk::ProviderContext provider = Acquire();
    BagEncryption read;
    ASSERT_EQ(Read(Encryption().AlgorithmIdentifier(), &read), 0u);
    pkisdk::ProviderKey key;
    EXPECT_FALSE(pkisdk::MakeBagKey("", provider.Get(), read, &key));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PASSWORD));
    // The second vector is the document's own.
    Calls().FailKeyParam(KP_IV, 2, kInjected);
    EXPECT_FALSE(pkisdk::MakeBagKey("Password1", provider.Get(), read, &key));
    EXPECT_EQ(GetLastError(), kInjected);
    Calls().FailKeyParam(pkisdk::kCipherOidParameter, 1, kInjected + 1);
    EXPECT_FALSE(pkisdk::MakeBagKey("Password1", provider.Get(), read, &key));
    EXPECT_EQ(GetLastError(), kInjected + 1);
    read.parameterSet = "1.2.3";
    EXPECT_FALSE(pkisdk::MakeBagKey("Password1", provider.Get(), read, &key));
}

}  // namespace
