#include <gtest/gtest.h>

#include "mvlpfx/mvlpfx.h"
#include "windows/registered_provider.h"

namespace windows_tests {
namespace {

constexpr char kOid[] = "1.2.643.2.4.12.2.1";
constexpr const char* kSets[] = {"CryptVLXExportPFX", "CryptVLXRestorePFX", "CryptVLXVerifyPswPFX"};

// A function that CryptoAPI found by its set and the identifier alone; freed at the end.
class FoundFunction {
  public:
    explicit FoundFunction(const char* set) {
        const HCRYPTOIDFUNCSET functions = CryptInitOIDFunctionSet(set, 0);
        CryptGetOIDFunctionAddress(functions, X509_ASN_ENCODING, kOid, 0, &address_, &handle_);
    }
    ~FoundFunction() {
        if (handle_ != nullptr) {
            CryptFreeOIDFunctionAddress(handle_, 0);
        }
    }
    FoundFunction(const FoundFunction&) = delete;
    FoundFunction& operator=(const FoundFunction&) = delete;

    template <typename Function>
    Function* As() const {
        return reinterpret_cast<Function*>(address_);
    }
    bool IsFound() const { return address_ != nullptr; }

  private:
    void* address_ = nullptr;
    HCRYPTOIDFUNCADDR handle_ = nullptr;
};

// What DllUnregisterServer deliberately leaves.
void RemoveEntries() {
    for (const char* const set : kSets) {
        CryptUnregisterOIDFunction(X509_ASN_ENCODING, set, kOid);
    }
}

TEST(WindowsOidFunctions, AreFoundBySetAndIdentifierAndCalled) {
    ASSERT_FALSE(FoundFunction("CryptVLXVerifyPswPFX").IsFound());
    ASSERT_EQ(CallServer("mvlpfx64.dll", "DllRegisterServer"), S_OK);
    {
        for (const char* const set : kSets) {
            EXPECT_TRUE(FoundFunction(set).IsFound()) << set;
        }
        const FoundFunction create("CryptVLXExportPFX");
        PfxBlob pfx{0, nullptr};
        ASSERT_TRUE(create.IsFound());
        EXPECT_FALSE(create.As<decltype(UzCreatePFX)>()(nullptr, &pfx, L"secret", 0));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_INVALID_PARAMETER));
        const FoundFunction verify("CryptVLXVerifyPswPFX");
        BYTE noDocument[] = {0x05, 0x00};
        pfx = {sizeof(noDocument), noDocument};
        ASSERT_TRUE(verify.IsFound());
        EXPECT_FALSE(verify.As<decltype(UzVerifyPswPFX)>()(&pfx, L"secret"));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA));
    }
    RemoveEntries();
}

TEST(WindowsOidFunctions, StayWhenTheModuleIsUnregistered) {
    ASSERT_EQ(CallServer("mvlpfx64.dll", "DllRegisterServer"), S_OK);
    EXPECT_EQ(CallServer("mvlpfx64.dll", "DllUnregisterServer"), S_OK);
    EXPECT_TRUE(FoundFunction("CryptVLXRestorePFX").IsFound());
    RemoveEntries();
}

}  // namespace
}  // namespace windows_tests
