// CryptAcquireCertificatePrivateKey on real containers.
#include "integration/own_keys.h"

#include <array>
#include <optional>

#include "platform/csp_parameters.h"

namespace {

using own_keys::Bytes;
using own_keys::Container;
using own_keys::Decode;
using own_keys::Family;
using own_keys::IsOpen;
using own_keys::kGost2012_256;
using own_keys::SelfSign;
using test_support::Certificate;

const Bytes kData = {'d', 'a', 't', 'a'};

struct Acquired {
    HCRYPTPROV key = 0;
    DWORD keySpec = 0;
    BOOL isCallers = FALSE;
};

BOOL Acquire(PCCERT_CONTEXT certificate, DWORD flags, Acquired* acquired) {
    return CryptAcquireCertificatePrivateKey(certificate, flags, nullptr, &acquired->key,
                                             &acquired->keySpec, &acquired->isCallers);
}

class OwnKeyFamily : public own_keys::OwnKeysTest, public testing::WithParamInterface<Family> {};

TEST_P(OwnKeyFamily, IsFoundByItsCertificateAndSigns) {
    const Family& family = GetParam();
    std::optional<Certificate> certificate;
    {
        const Container container("mine");
        container.Generate(family.algorithm);
        certificate.emplace(SelfSign(container.Get(), family.keySpec));
        ASSERT_NE(certificate->Get(), nullptr);
    }
    Acquired acquired;
    ASSERT_TRUE(Acquire(certificate->Get(),
                        CRYPT_ACQUIRE_COMPARE_KEY_FLAG | CRYPT_ACQUIRE_SILENT_FLAG, &acquired))
        << std::hex << GetLastError();
    EXPECT_TRUE(acquired.isCallers);
    EXPECT_EQ(acquired.keySpec, family.keySpec);
    EXPECT_EQ(own_keys::Text(acquired.key, PP_CONTAINER), "mine");
    const Bytes signature = own_keys::Sign(acquired.key, family, kData);
    EXPECT_TRUE(own_keys::Verifies(
        family, own_keys::PublicKeyInfo(Decode(certificate->Get()).get()), kData, signature));
    EXPECT_TRUE(CryptReleaseContext(acquired.key, 0));
    EXPECT_FALSE(IsOpen(acquired.key));
}

TEST_P(OwnKeyFamily, IsToldFromTheKeyThatTookItsPlace) {
    const Family& family = GetParam();
    const Container container("mine");
    container.Generate(family.algorithm);
    const Certificate certificate(SelfSign(container.Get(), family.keySpec));
    ASSERT_NE(certificate.Get(), nullptr);
    container.Generate(family.algorithm);
    Acquired acquired;
    EXPECT_FAILS_WITH(NTE_BAD_PUBLIC_KEY,
                      Acquire(certificate.Get(), CRYPT_ACQUIRE_COMPARE_KEY_FLAG, &acquired));
    EXPECT_EQ(acquired.key, 0U);
    EXPECT_FAILS_WITH(
        NTE_BAD_PUBLIC_KEY,
        Acquire(certificate.Get(), CRYPT_ACQUIRE_COMPARE_KEY_FLAG | CRYPT_ACQUIRE_CACHE_FLAG,
                &acquired));
    // Nobody compares unless asked.
    ASSERT_TRUE(Acquire(certificate.Get(), 0, &acquired));
    EXPECT_TRUE(CryptReleaseContext(acquired.key, 0));
}

INSTANTIATE_TEST_SUITE_P(OwnKeys, OwnKeyFamily, testing::ValuesIn(own_keys::kFamilies),
                         [](const auto& of) { return std::string(of.param.name); });

class OwnKey : public own_keys::OwnKeysTest {
  protected:
    OwnKey() : certificate_(SelfSign(container_.Generate(kGost2012_256.algorithm).Get())) {}

    // Has the certificate's record present that PIN; its size leaves out the terminator.
    void NamePin(std::string pin) {
        std::wstring name = L"mine";
        std::wstring provider = L"Velmorix Cryptographic Service Provider";
        CRYPT_KEY_PROV_PARAM parameter{PP_SIGNATURE_PIN, reinterpret_cast<BYTE*>(pin.data()),
                                       static_cast<DWORD>(pin.size()), 0};
        const CRYPT_KEY_PROV_INFO info{
            name.data(), provider.data(), test_support::kProviderType, 0, 1,
            &parameter,  AT_SIGNATURE};
        ASSERT_TRUE(CertSetCertificateContextProperty(certificate_.Get(),
                                                      CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
    }

    const Container container_{"mine"};
    Certificate certificate_;
};

TEST_F(OwnKey, IsOpenedByThePinOfTheRecord) {
    ASSERT_TRUE(own_keys::SetPin(container_.Get(), "2468"));
    NamePin("2468");
    Acquired acquired;
    ASSERT_TRUE(Acquire(certificate_.Get(), CRYPT_ACQUIRE_SILENT_FLAG, &acquired));
    EXPECT_EQ(own_keys::Sign(acquired.key, kGost2012_256, kData).size(), 64U);
    EXPECT_TRUE(CryptReleaseContext(acquired.key, 0));
}

TEST_F(OwnKey, IsNotAcquiredWithAWrongPin) {
    ASSERT_TRUE(own_keys::SetPin(container_.Get(), "2468"));
    for (const char* const pin : {"8642", "246", "24680"}) {
        NamePin(pin);
        for (const DWORD flags :
             {DWORD{0}, DWORD{CRYPT_ACQUIRE_CACHE_FLAG}, DWORD{CRYPT_ACQUIRE_SILENT_FLAG}}) {
            Acquired acquired;
            EXPECT_FAILS_WITH(SCARD_W_WRONG_CHV, Acquire(certificate_.Get(), flags, &acquired));
            EXPECT_EQ(acquired.key, 0U);
        }
    }
}

TEST_F(OwnKey, CannotSignWithoutItsPin) {
    ASSERT_TRUE(own_keys::SetPin(container_.Get(), "2468"));
    Acquired acquired;
    ASSERT_TRUE(Acquire(certificate_.Get(), CRYPT_ACQUIRE_COMPARE_KEY_FLAG, &acquired));
    EXPECT_EQ(own_keys::Sign(acquired.key, kGost2012_256, kData), Bytes());
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(SCARD_W_CARD_NOT_AUTHENTICATED));
    EXPECT_TRUE(CryptReleaseContext(acquired.key, 0));
    ASSERT_TRUE(Acquire(certificate_.Get(), CRYPT_ACQUIRE_SILENT_FLAG, &acquired));
    EXPECT_EQ(own_keys::Sign(acquired.key, kGost2012_256, kData), Bytes());
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_SILENT_CONTEXT));
    EXPECT_TRUE(CryptReleaseContext(acquired.key, 0));
}

TEST_F(OwnKey, IsKeptWithTheCertificateUntilItsEnd) {
    Acquired first;
    Acquired second;
    ASSERT_TRUE(Acquire(certificate_.Get(), CRYPT_ACQUIRE_CACHE_FLAG, &first));
    ASSERT_TRUE(Acquire(certificate_.Get(), CRYPT_ACQUIRE_CACHE_FLAG, &second));
    EXPECT_FALSE(first.isCallers || second.isCallers);
    EXPECT_EQ(first.key, second.key);
    EXPECT_EQ(own_keys::Sign(first.key, kGost2012_256, kData).size(), 64U);
    CertFreeCertificateContext(certificate_.Leave());
    EXPECT_FALSE(IsOpen(first.key));
}

TEST_F(OwnKey, IsGoneWithItsContainer) {
    HCRYPTPROV none = 0;
    ASSERT_TRUE(CryptAcquireContextA(&none, "mine", test_support::kProviderName,
                                     test_support::kProviderType, CRYPT_DELETEKEYSET));
    const Container other("mine");
    other.Generate(kGost2012_256.algorithm);
    Acquired acquired;
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET, Acquire(certificate_.Get(), 0, &acquired));
}

// The whole BIT STRING counts, and not how much of it a certificate cares to show.
TEST_F(OwnKey, IsNotThatOfACertificateThatHoldsItsLastOctet) {
    Bytes bytes(certificate_->pbCertEncoded,
                certificate_->pbCertEncoded + certificate_->cbCertEncoded);
    const CERT_PUBLIC_KEY_INFO& key = certificate_->pCertInfo->SubjectPublicKeyInfo;
    const Bytes info = own_keys::PublicKeyInfo(Decode(certificate_.Get()).get());
    const auto at = std::search(bytes.begin(), bytes.end(), info.begin(), info.end());
    ASSERT_NE(at, bytes.end());
    // SEQUENCE { SEQUENCE { OBJECT IDENTIFIER (8), SEQUENCE { ... } }, BIT STRING }: the parameters
    // take the key in but for its end, which becomes a BIT STRING of one octet.
    constexpr std::ptrdiff_t kIdentifier = 2;
    constexpr std::ptrdiff_t kParameters = kIdentifier + 2 + 10;
    ASSERT_EQ(at[kIdentifier], 0x30);
    ASSERT_EQ(at[kParameters], 0x30);
    ASSERT_EQ(key.PublicKey.cbData, 66U);
    const auto end = at + static_cast<std::ptrdiff_t>(info.size());
    constexpr BYTE kTaken = 2 + 1 + 66 - 4;
    at[kIdentifier + 1] = static_cast<BYTE>(at[kIdentifier + 1] + kTaken);
    at[kParameters + 1] = static_cast<BYTE>(at[kParameters + 1] + kTaken);
    const Bytes lastOctet = {0x03, 0x02, 0x00};
    std::copy(lastOctet.begin(), lastOctet.end(), end - 4);

    const Certificate shortened(bytes);
    ASSERT_NE(shortened.Get(), nullptr) << std::hex << GetLastError();
    ASSERT_EQ(shortened->pCertInfo->SubjectPublicKeyInfo.PublicKey.cbData, 1U);
    alignas(CRYPT_KEY_PROV_INFO) std::array<BYTE, 4096> record{};
    DWORD size = record.size();
    ASSERT_TRUE(CertGetCertificateContextProperty(certificate_.Get(), CERT_KEY_PROV_INFO_PROP_ID,
                                                  record.data(), &size));
    ASSERT_TRUE(CertSetCertificateContextProperty(shortened.Get(), CERT_KEY_PROV_INFO_PROP_ID, 0,
                                                  record.data()));
    Acquired acquired;
    EXPECT_FAILS_WITH(NTE_BAD_PUBLIC_KEY,
                      Acquire(shortened.Get(), CRYPT_ACQUIRE_COMPARE_KEY_FLAG, &acquired));
}

}  // namespace
