#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/last_error.h"
#include "support/scoped_environment.h"

namespace {

constexpr char kOid[] = "1.2.643.2.4.12.2.1";

class OidFunctions : public testing::Test {
  protected:
    static std::wstring Wide(const std::string& text) { return {text.begin(), text.end()}; }
    static BOOL Register(const char* set, const char* name, const std::string& library) {
        return CryptRegisterOIDFunction(X509_ASN_ENCODING, set, kOid, Wide(library).c_str(), name);
    }
    static BOOL Get(const char* set, DWORD encoding, void** address, HCRYPTOIDFUNCADDR* handle) {
        return CryptGetOIDFunctionAddress(CryptInitOIDFunctionSet(set, 0), encoding, kOid, 0,
                                          address, handle);
    }

    test_support::ScopedFolder folder_;
    std::filesystem::path home_ = folder_ / "machine";
    test_support::ScopedVariable variable_{"VELMORIX_MACHINE_HOME", home_.string()};
    void* address_ = nullptr;
    HCRYPTOIDFUNCADDR handle_ = nullptr;
};

TEST_F(OidFunctions, AreFoundLoadedAndFreed) {
    ASSERT_TRUE(Register("SomeSet", "CPGenRandom", MVLPFX_FAKE_CSP));
    ASSERT_TRUE(Register("CPReleaseContext", nullptr, MVLPFX_FAKE_CSP));
    ASSERT_TRUE(Get("someset", X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, &address_, &handle_));
    BYTE bytes[2] = {};
    reinterpret_cast<BOOL (*)(HCRYPTPROV, DWORD, BYTE*)>(address_)(0, 2, bytes);
    // What the provider that computes nothing gives for random bytes.
    EXPECT_EQ(bytes[1], 0x5A);
    EXPECT_TRUE(CryptFreeOIDFunctionAddress(handle_, 0));
    EXPECT_FAILS_WITH(E_INVALIDARG, CryptFreeOIDFunctionAddress(handle_, 0));
    ASSERT_TRUE(Get("CPReleaseContext", X509_ASN_ENCODING, &address_, &handle_));
    EXPECT_TRUE(CryptFreeOIDFunctionAddress(handle_, 0));
    EXPECT_EQ(CryptInitOIDFunctionSet("SomeSet", 0), CryptInitOIDFunctionSet("SomeSet", 0));
}

TEST_F(OidFunctions, OutlastTheProcessThatEntersThem) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(Register("SomeSet", "CPGenRandom", MVLPFX_FAKE_CSP) ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_EQ(status, 0);
    ASSERT_TRUE(Get("SomeSet", X509_ASN_ENCODING, &address_, &handle_));
    EXPECT_TRUE(CryptFreeOIDFunctionAddress(handle_, 0));
    ASSERT_TRUE(CryptUnregisterOIDFunction(X509_ASN_ENCODING, "SomeSet", kOid));
    EXPECT_FAILS_WITH(ERROR_FILE_NOT_FOUND, Get("SomeSet", X509_ASN_ENCODING, &address_, &handle_));
}

TEST_F(OidFunctions, AreReplacedInTheirPlaceAlone) {
    ASSERT_TRUE(Register("One", "CPGenRandom", "/nowhere.so"));
    ASSERT_TRUE(Register("Two", "CPGenRandom", "relative.so"));
    ASSERT_TRUE(Register("One", "NoSuchFunction", MVLPFX_FAKE_CSP));
    EXPECT_FAILS_WITH(ERROR_PROC_NOT_FOUND, Get("One", 1, &address_, &handle_));
    EXPECT_FAILS_WITH(ERROR_MOD_NOT_FOUND, Get("Two", 1, &address_, &handle_));
    EXPECT_FAILS_WITH(ERROR_FILE_NOT_FOUND, Get("One", PKCS_7_ASN_ENCODING, &address_, &handle_));
    EXPECT_EQ(address_, nullptr);
    EXPECT_EQ(handle_, nullptr);
}

TEST_F(OidFunctions, GiveTheirErrorWords) {
    EXPECT_FAILS_WITH(ERROR_FILE_NOT_FOUND, CryptUnregisterOIDFunction(1, "SomeSet", kOid));
    EXPECT_FALSE(std::filesystem::exists(home_));
    EXPECT_FAILS_WITH(E_INVALIDARG, CryptRegisterOIDFunction(1, nullptr, kOid, L"/a", nullptr));
    EXPECT_FAILS_WITH(E_INVALIDARG, CryptRegisterOIDFunction(1, "S", nullptr, L"/a", nullptr));
    EXPECT_FAILS_WITH(E_INVALIDARG, CryptRegisterOIDFunction(1, "S", kOid, nullptr, nullptr));
    EXPECT_FAILS_WITH(E_INVALIDARG, CryptInitOIDFunctionSet(nullptr, 0));
    EXPECT_FAILS_WITH(E_INVALIDARG,
                      CryptGetOIDFunctionAddress(nullptr, 1, kOid, 0, &address_, &handle_));
    EXPECT_FAILS_WITH(E_INVALIDARG, Get("S", 1, nullptr, &handle_));
    EXPECT_FAILS_WITH(
        ERROR_FILE_NOT_FOUND,
        CryptGetOIDFunctionAddress(CryptInitOIDFunctionSet("S", 0), 1, kOid,
                                   CRYPT_GET_INSTALLED_OID_FUNC_FLAG, &address_, &handle_));
    EXPECT_TRUE(CryptFreeOIDFunctionAddress(nullptr, 0));
}

TEST_F(OidFunctions, KeepADamagedTableAsItIs) {
    ASSERT_TRUE(Register("One", nullptr, "/a.so"));
    std::ofstream(home_ / "oid_functions.toml") << "[[function";
    EXPECT_FAILS_WITH(CRYPT_E_FILE_ERROR, Register("Two", nullptr, "/a.so"));
    EXPECT_FAILS_WITH(CRYPT_E_FILE_ERROR, Get("One", 1, &address_, &handle_));
    EXPECT_EQ(std::filesystem::file_size(home_ / "oid_functions.toml"), 10u);
}

}  // namespace
