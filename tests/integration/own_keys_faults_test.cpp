// Every call on the provider refused in turn: the word comes back, and nothing stays open.
#include "integration/own_keys_failing_csp.h"

#include <dlfcn.h>

#include <functional>

#include "integration/own_keys.h"

namespace {

using test_support::Certificate;

constexpr DWORD kFailingCspType = 77;

class OwnKeyFaults : public testing::Test {
  protected:
    OwnKeyFaults() {
        void* const library = dlopen(MVLPFX_FAILING_CSP, RTLD_NOW | RTLD_LOCAL);
        auto* const find = reinterpret_cast<own_keys::FailingCspControlFunction*>(
            library == nullptr ? nullptr : dlsym(library, "FailingCspControl"));
        csp_ = find == nullptr ? nullptr : find();
    }
    void SetUp() override {
        ASSERT_NE(csp_, nullptr);
        ASSERT_TRUE(CryptAcquireContextA(&container_, "mine", own_keys::kFailingCspName,
                                         kFailingCspType, CRYPT_NEWKEYSET))
            << std::hex << GetLastError();
        HCRYPTKEY key = 0;
        ASSERT_TRUE(CryptGenKey(container_, own_keys::kGost2012_256.algorithm, 0, &key));
        EXPECT_TRUE(CryptDestroyKey(key));
        EXPECT_TRUE(own_keys::SetPin(container_, "2468"));
    }
    void TearDown() override { EXPECT_TRUE(CryptReleaseContext(container_, 0)); }

    // Refuses the first, second, third ... call that `work` makes until it gets through, and
    // answers how many there are.
    int RefuseEachCallOf(const std::function<bool()>& work) {
        for (int calls = 0; calls < 100; ++calls) {
            const int openBefore = csp_->openObjects;
            csp_->callsUntilRefusal = calls;
            SetLastError(0);
            const bool isDone = work();
            const DWORD word = GetLastError();
            const bool wasRefused = csp_->callsUntilRefusal < 0;
            csp_->callsUntilRefusal = -1;
            EXPECT_EQ(csp_->openObjects, openBefore) << "call " << calls;
            EXPECT_EQ(isDone, !wasRefused) << "call " << calls;
            if (!wasRefused) {
                return calls;
            }
            EXPECT_EQ(word, static_cast<DWORD>(NTE_FAIL)) << "call " << calls;
        }
        return -1;
    }

    test_support::ContainerHome home_;
    test_support::ScopedSettings settings_{
        std::string("['SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\") +
        own_keys::kFailingCspName + "']\n'Type' = 77\n'Image Path' = '" MVLPFX_FAILING_CSP "'\n"};
    own_keys::FailingCsp* csp_ = nullptr;
    HCRYPTPROV container_ = 0;
};

// Key, blob twice, random bytes, hash with its data, signature twice, four parameters, of which two
// are texts that are asked for twice.
TEST_F(OwnKeyFaults, FailTheSelfSignedCertificate) {
    EXPECT_EQ(RefuseEachCallOf([this] {
                  const Certificate certificate(own_keys::SelfSign(container_));
                  return certificate.Get() != nullptr;
              }),
              14);
}

// Context, PIN, key, blob twice.
TEST_F(OwnKeyFaults, FailTheAcquisition) {
    const Certificate certificate(own_keys::SelfSign(container_));
    ASSERT_NE(certificate.Get(), nullptr);
    std::wstring name = L"mine";
    std::wstring provider = L"Failing Provider";
    std::string pin = "2468";
    CRYPT_KEY_PROV_PARAM parameter{PP_SIGNATURE_PIN, reinterpret_cast<BYTE*>(pin.data()), 4, 0};
    const CRYPT_KEY_PROV_INFO info{name.data(), provider.data(), kFailingCspType, 0,
                                   1,           &parameter,      AT_SIGNATURE};
    ASSERT_TRUE(
        CertSetCertificateContextProperty(certificate.Get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
    EXPECT_EQ(RefuseEachCallOf([&certificate] {
                  HCRYPTPROV key = 0;
                  DWORD keySpec = 0;
                  BOOL isCallers = FALSE;
                  const BOOL isAcquired = CryptAcquireCertificatePrivateKey(
                      certificate.Get(), CRYPT_ACQUIRE_COMPARE_KEY_FLAG, nullptr, &key, &keySpec,
                      &isCallers);
                  EXPECT_EQ(key != 0, isAcquired != FALSE);
                  return isAcquired && CryptReleaseContext(key, 0);
              }),
              5);
}

// Hash, its data, its value twice.
TEST_F(OwnKeyFaults, FailTheHashOfACertificate) {
    const BYTE data[] = {1, 2, 3};
    EXPECT_EQ(RefuseEachCallOf([&] {
                  BYTE hash[32];
                  DWORD size = sizeof(hash);
                  return CryptHashCertificate(container_, own_keys::kGost2012_256.hash, 0, data,
                                              sizeof(data), hash, &size) != FALSE;
              }),
              4);
}

}  // namespace
