#include <gtest/gtest.h>

#include <array>
#include <string>

#include "platform/oid_rows.h"
#include "windows/registered_provider.h"

namespace windows_tests {
namespace {

DWORD NumberValue(const char* key, const char* name) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    EXPECT_EQ(RegGetValueA(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_DWORD, nullptr, &value, &size),
              ERROR_SUCCESS);
    return value;
}

std::string TextValue(const char* key, const char* name) {
    std::array<char, 1024> text{};
    DWORD size = text.size();
    EXPECT_EQ(
        RegGetValueA(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_SZ, nullptr, text.data(), &size),
        ERROR_SUCCESS);
    return text.data();
}

std::string PathOf(const char* library) {
    std::array<char, 1024> path{};
    GetModuleFileNameA(Library(library), path.data(), path.size());
    return path.data();
}

std::string RowKey(const platform::OidRow& row) {
    return "SOFTWARE\\Microsoft\\Cryptography\\OID\\EncodingType 0\\CryptDllFindOIDInfo\\" +
           std::string(row.oid) + '!' + std::to_string(row.group);
}

TEST(WindowsRegistration, EntersTheProviderAndItsType) {
    EXPECT_EQ(NumberValue(kProviderKey, "Type"), 2U);
    EXPECT_EQ(TextValue(kProviderKey, "Image Path"), PathOf("velmorixcsp.dll"));
    EXPECT_EQ(RegGetValueA(HKEY_LOCAL_MACHINE, kProviderKey, "Signature", RRF_RT_REG_BINARY,
                           nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(TextValue(kTypeKey, "Name"), kProviderName);
    EXPECT_FALSE(TextValue(kTypeKey, "TypeName").empty());
}

TEST(WindowsRegistration, SystemLoadsTheProviderByNameAndByType) {
    for (const char* const name : {kProviderName, static_cast<const char*>(nullptr)}) {
        HCRYPTPROV provider = 0;
        ASSERT_TRUE(CryptAcquireContextA(&provider, nullptr, name, 2, CRYPT_VERIFYCONTEXT))
            << std::hex << GetLastError();
        std::array<char, 64> text{};
        DWORD size = text.size();
        EXPECT_TRUE(
            CryptGetProvParam(provider, PP_NAME, reinterpret_cast<BYTE*>(text.data()), &size, 0));
        EXPECT_STREQ(text.data(), kProviderName);
        CryptReleaseContext(provider, 0);
    }
}

TEST(WindowsRegistration, LookupsFindEachRowBothWays) {
    for (const platform::OidRow& row : platform::kOidRows) {
        const PCCRYPT_OID_INFO byOid =
            CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, const_cast<char*>(row.oid), row.group);
        ASSERT_NE(byOid, nullptr) << row.oid;
        EXPECT_EQ(byOid->Algid, row.algorithm);
        EXPECT_STREQ(byOid->pwszName, row.name);
        ALG_ID algorithm = row.algorithm;
        const PCCRYPT_OID_INFO byAlgorithm =
            CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &algorithm, row.group);
        ASSERT_NE(byAlgorithm, nullptr) << row.oid;
        EXPECT_STREQ(byAlgorithm->pszOID, row.oid);
    }
}

TEST(WindowsRegistration, SecondTimeChangesNothing) {
    EXPECT_EQ(CallServer("velmorixcsp.dll", "DllRegisterServer"), S_OK);
    EXPECT_EQ(NumberValue(kProviderKey, "Type"), 2U);
}

TEST(WindowsRegistration, LeavesNothingBehindAndMayBeTakenOutTwice) {
    for (int i = 0; i != 2; ++i) {
        EXPECT_EQ(CallServer("velmorixcsp.dll", "DllUnregisterServer"), S_OK);
        EXPECT_FALSE(HasKey(kProviderKey));
        EXPECT_FALSE(HasKey(kTypeKey));
        for (const platform::OidRow& row : platform::kOidRows) {
            EXPECT_FALSE(HasKey(RowKey(row).c_str())) << row.oid;
        }
    }
    EXPECT_EQ(CallServer("velmorixcsp.dll", "DllRegisterServer"), S_OK);
    EXPECT_TRUE(HasKey(RowKey(platform::kOidRows[0]).c_str()));
}

// As on a machine where another provider of the same type is the default.
TEST(WindowsRegistration, TypeOfAnotherProviderStaysIts) {
    EXPECT_EQ(CallServer("velmorixcsp.dll", "DllUnregisterServer"), S_OK);
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, kTypeKey, 0, nullptr, 0, KEY_WRITE, nullptr, &key,
                              nullptr),
              ERROR_SUCCESS);
    const std::string other = "Another Provider";
    EXPECT_EQ(RegSetValueExA(key, "Name", 0, REG_SZ, reinterpret_cast<const BYTE*>(other.c_str()),
                             static_cast<DWORD>(other.size() + 1)),
              ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(CallServer("velmorixcsp.dll", "DllRegisterServer"), S_OK);
    EXPECT_EQ(TextValue(kTypeKey, "Name"), other);
    EXPECT_EQ(CallServer("velmorixcsp.dll", "DllUnregisterServer"), S_OK);
    EXPECT_EQ(TextValue(kTypeKey, "Name"), other);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, kTypeKey);
    EXPECT_EQ(CallServer("velmorixcsp.dll", "DllRegisterServer"), S_OK);
}

}  // namespace
}  // namespace windows_tests
