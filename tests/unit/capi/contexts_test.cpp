#include "capi/provider.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "platform/cryptoapi.h"
#include "support/csp_guards.h"
#include "support/fake_csp.h"
#include "support/last_error.h"
#include "support/scoped_environment.h"

namespace {

using test_support::FakeCspSettings;
using test_support::kFakeCspName;
using test_support::kFakeCspType;
using test_support::kGost28147;
using test_support::kGost94;
using test_support::kProviderName;
using test_support::kProviderType;
using test_support::ScopedSettings;

BOOL Acquire(HCRYPTPROV* context, const char* name, DWORD type, DWORD flags = CRYPT_VERIFYCONTEXT,
             const char* container = nullptr) {
    return CryptAcquireContextA(context, container, name, type, flags);
}

class Contexts : public testing::Test {
  protected:
    ScopedSettings settings_;
};

TEST_F(Contexts, OpenWithoutAnySettings) {
    HCRYPTPROV context = 0;
    ASSERT_TRUE(Acquire(&context, kProviderName, kProviderType));
    EXPECT_NE(context, 0U);
    EXPECT_TRUE(CryptReleaseContext(context, 0));
}

TEST_F(Contexts, OpenByTypeAlone) {
    for (const char* const name : {static_cast<const char*>(nullptr), ""}) {
        HCRYPTPROV context = 0;
        ASSERT_TRUE(Acquire(&context, name, kProviderType));
        char found[64];
        DWORD size = sizeof(found);
        EXPECT_TRUE(CryptGetProvParam(context, PP_NAME, reinterpret_cast<BYTE*>(found), &size, 0));
        EXPECT_STREQ(found, kProviderName);
        EXPECT_TRUE(CryptReleaseContext(context, 0));
    }
}

TEST_F(Contexts, OpenByANameInAnyCase) {
    HCRYPTPROV context = 0;
    EXPECT_TRUE(Acquire(&context, "VELMORIX cryptographic service provider", kProviderType));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
}

TEST_F(Contexts, RefuseTypesAndNamesThatAreNotThere) {
    HCRYPTPROV context = 1;
    EXPECT_FAILS_WITH(NTE_BAD_PROV_TYPE, Acquire(&context, kProviderName, 0));
    EXPECT_EQ(context, 0U);
    EXPECT_FAILS_WITH(NTE_BAD_PROV_TYPE, Acquire(&context, kProviderName, 1000));
    EXPECT_FAILS_WITH(NTE_BAD_PROV_TYPE, Acquire(&context, kProviderName, 0xFFFFFFFF));
    EXPECT_FAILS_WITH(NTE_PROV_TYPE_NOT_DEF, Acquire(&context, nullptr, 3));
    EXPECT_FAILS_WITH(NTE_KEYSET_NOT_DEF, Acquire(&context, "No Such Provider", 2));
    EXPECT_FAILS_WITH(NTE_PROV_TYPE_NO_MATCH, Acquire(&context, kProviderName, 3));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, Acquire(nullptr, kProviderName, kProviderType));
}

TEST_F(Contexts, RefuseEntriesThatCannotBeUsed) {
    const test_support::ScopedFolder folder;
    const std::string text = folder / "text.so";
    std::ofstream(text) << "no library";
    const struct {
        std::string entry;
        HRESULT error;
    } cases[] = {
        {"", NTE_PROV_TYPE_ENTRY_BAD},
        {"'Image Path' = '/x.so'", NTE_PROV_TYPE_ENTRY_BAD},
        {"Type = '5'\n'Image Path' = '/x.so'", NTE_PROV_TYPE_ENTRY_BAD},
        {"Type = 5", NTE_PROV_TYPE_ENTRY_BAD},
        {"Type = 5\n'Image Path' = 7", NTE_PROV_TYPE_ENTRY_BAD},
        {"Type = 5\n'Image Path' = '/no/such/library.so'", NTE_PROV_DLL_NOT_FOUND},
        {"Type = 5\n'Image Path' = 'libm.so.6'", NTE_PROV_DLL_NOT_FOUND},
        {"Type = 5\n'Image Path' = ''", NTE_PROV_DLL_NOT_FOUND},
        {"Type = 5\n'Image Path' = '" + text + "'", NTE_PROVIDER_DLL_FAIL},
        {std::string("Type = 5\n'Image Path' = '") + MVLPFX_NO_CSP + "'", NTE_PROVIDER_DLL_FAIL},
    };
    for (const auto& sample : cases) {
        settings_.Write("['SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\X']\n" +
                        sample.entry + "\n");
        HCRYPTPROV context = 0;
        EXPECT_FAILS_WITH(sample.error, Acquire(&context, "X", 5)) << sample.entry;
    }
}

TEST_F(Contexts, LastUntilEveryReferenceIsReleased) {
    HCRYPTPROV context = 0;
    ASSERT_TRUE(Acquire(&context, kProviderName, kProviderType));
    EXPECT_TRUE(CryptContextAddRef(context, nullptr, 0));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
    BYTE random = 0;
    EXPECT_TRUE(CryptGenRandom(context, 1, &random));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptGenRandom(context, 1, &random));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptReleaseContext(context, 0));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptContextAddRef(context, nullptr, 0));
}

TEST_F(Contexts, AreReleasedInSpiteOfFlags) {
    HCRYPTPROV context = 0;
    ASSERT_TRUE(Acquire(&context, kProviderName, kProviderType));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CryptReleaseContext(context, 1));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptReleaseContext(context, 0));
}

TEST_F(Contexts, RefuseAReferenceWithReservedArguments) {
    const test_support::VerifyContext context;
    DWORD reserved = 0;
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, CryptContextAddRef(context.Get(), &reserved, 0));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, CryptContextAddRef(context.Get(), nullptr, 1));
}

TEST_F(Contexts, TakeTheirKeysAndHashesWithThem) {
    HCRYPTPROV context = 0;
    HCRYPTPROV other = 0;
    HCRYPTKEY key = 0;
    HCRYPTHASH hash = 0;
    HCRYPTHASH otherHash = 0;
    ASSERT_TRUE(Acquire(&context, kProviderName, kProviderType));
    ASSERT_TRUE(Acquire(&other, kProviderName, kProviderType));
    ASSERT_TRUE(CryptGenKey(context, kGost28147, 0, &key));
    ASSERT_TRUE(CryptCreateHash(context, kGost94, 0, 0, &hash));
    ASSERT_TRUE(CryptCreateHash(other, kGost94, 0, 0, &otherHash));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptDestroyKey(key));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptHashData(hash, nullptr, 0, 0));
    EXPECT_TRUE(CryptHashData(otherHash, nullptr, 0, 0));
    EXPECT_TRUE(CryptDestroyHash(otherHash));
    EXPECT_TRUE(CryptReleaseContext(other, 0));
}

TEST_F(Contexts, RefuseHandlesThatAreNone) {
    BYTE data[8] = {};
    DWORD size = sizeof(data);
    for (const ULONG_PTR bad : {ULONG_PTR{0}, ULONG_PTR{1}, ULONG_PTR{2}, ULONG_PTR{3},
                                ~ULONG_PTR{0}, ULONG_PTR{1} << 63, ULONG_PTR{0x12345678}}) {
        HCRYPTKEY out = 0;
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptReleaseContext(bad, 0)) << bad;
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptContextAddRef(bad, nullptr, 0));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptGenRandom(bad, 1, data));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptGetProvParam(bad, PP_NAME, data, &size, 0));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptSetProvParam(bad, PP_NAME, data, 0));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptGenKey(bad, kGost28147, 0, &out));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptCreateHash(bad, kGost94, 0, 0, &out));
    }
}

TEST_F(Contexts, FillWithRandomBytes) {
    const test_support::VerifyContext context;
    std::vector<BYTE> first(32);
    std::vector<BYTE> second(32);
    EXPECT_TRUE(CryptGenRandom(context.Get(), 32, first.data()));
    EXPECT_TRUE(CryptGenRandom(context.Get(), 32, second.data()));
    EXPECT_NE(first, second);
    EXPECT_NE(first, std::vector<BYTE>(32));
}

class FakeProvider : public testing::Test {
  protected:
    ScopedSettings settings_{FakeCspSettings(MVLPFX_FAKE_CSP)};
};

ULONG_PTR HandleBehindKey(HCRYPTKEY key) {
    ULONG_PTR handle = 0;
    DWORD size = sizeof(handle);
    EXPECT_TRUE(CryptGetKeyParam(key, 0, reinterpret_cast<BYTE*>(&handle), &size, 0));
    return handle;
}

ULONG_PTR HandleBehindHash(HCRYPTHASH hash) {
    ULONG_PTR handle = 0;
    DWORD size = sizeof(handle);
    EXPECT_TRUE(CryptGetHashParam(hash, 0, reinterpret_cast<BYTE*>(&handle), &size, 0));
    return handle;
}

// The provider itself looks at what it is told of its caller.
TEST_F(FakeProvider, LearnsWhoCallsAndGetsItsOwnHandles) {
    HCRYPTPROV context = 0;
    ASSERT_TRUE(Acquire(&context, kFakeCspName, kFakeCspType, 0)) << std::hex << GetLastError();
    ULONG_PTR handle = 0;
    DWORD size = sizeof(handle);
    EXPECT_TRUE(CryptGetProvParam(context, 0, reinterpret_cast<BYTE*>(&handle), &size, 0));
    EXPECT_EQ(handle, 100 + kFakeCspType);
    HCRYPTKEY key = 0;
    HCRYPTHASH plain = 0;
    HCRYPTHASH keyed = 0;
    HCRYPTHASH copy = 0;
    ASSERT_TRUE(CryptGenKey(context, 500, 0, &key));
    ASSERT_TRUE(CryptCreateHash(context, 1, 0, 0, &plain));
    ASSERT_TRUE(CryptCreateHash(context, 1, key, 0, &keyed));
    ASSERT_TRUE(CryptDuplicateHash(keyed, nullptr, 0, &copy));
    EXPECT_EQ(HandleBehindKey(key), 500U);
    EXPECT_EQ(HandleBehindHash(plain), 1U);
    EXPECT_EQ(HandleBehindHash(keyed), 501U);
    EXPECT_EQ(HandleBehindHash(copy), 1501U);
    EXPECT_TRUE(CryptReleaseContext(context, 0));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptDestroyHash(copy));
}

TEST_F(FakeProvider, HasItsErrorWordsPassedOn) {
    HCRYPTPROV context = 0;
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET, Acquire(&context, kFakeCspName, kFakeCspType, 0, "refuse"));
    ASSERT_TRUE(Acquire(&context, kFakeCspName, kFakeCspType, 0));
    HCRYPTKEY key = 7;
    HCRYPTHASH hash = 7;
    // The fake answers its flags as the error.
    EXPECT_FAILS_WITH(1234, CryptGenKey(context, 500, 1234, &key));
    EXPECT_EQ(key, 7U);
    EXPECT_FAILS_WITH(1234, CryptCreateHash(context, 500, 0, 1234, &hash));
    EXPECT_EQ(hash, 7U);
    EXPECT_FAILS_WITH(1234, CryptSetProvParam(context, 0, nullptr, 1234));
    ASSERT_TRUE(CryptGenKey(context, 500, 0, &key));
    ASSERT_TRUE(CryptCreateHash(context, 500, 0, 0, &hash));
    EXPECT_FAILS_WITH(1234, CryptSetKeyParam(key, 0, nullptr, 1234));
    EXPECT_FAILS_WITH(1234, CryptSetHashParam(hash, 0, nullptr, 1234));
    EXPECT_FAILS_WITH(1234, CryptHashData(hash, nullptr, 0, 1234));
    EXPECT_FAILS_WITH(1234, CryptDuplicateHash(hash, nullptr, 1234, &hash));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
}

ULONG_PTR ExportedBy(HCRYPTKEY key, HCRYPTKEY wrapping) {
    ULONG_PTR written = 0;
    DWORD size = sizeof(written);
    EXPECT_TRUE(
        CryptExportKey(key, wrapping, PRIVATEKEYBLOB, 0, reinterpret_cast<BYTE*>(&written), &size));
    return written;
}

TEST_F(FakeProvider, GetsItsOwnHandlesOfEveryKeyAndHashOfACall) {
    HCRYPTPROV context = 0;
    HCRYPTKEY user = 0;
    HCRYPTKEY wrapping = 0;
    HCRYPTKEY imported = 0;
    HCRYPTHASH hash = 0;
    ASSERT_TRUE(Acquire(&context, kFakeCspName, kFakeCspType, 0));
    ASSERT_TRUE(CryptGetUserKey(context, AT_SIGNATURE, &user));
    ASSERT_TRUE(CryptGenKey(context, 500, 0, &wrapping));
    ASSERT_TRUE(CryptCreateHash(context, 1, wrapping, 0, &hash));
    EXPECT_EQ(HandleBehindKey(user), DWORD{AT_SIGNATURE});
    EXPECT_EQ(ExportedBy(user, 0), 2U);
    EXPECT_EQ(ExportedBy(user, wrapping), 502U);
    ASSERT_TRUE(CryptImportKey(context, nullptr, 30, wrapping, 0, &imported));
    EXPECT_EQ(HandleBehindKey(imported), 530U);
    DWORD size = 0;
    EXPECT_TRUE(CryptEncrypt(wrapping, 0, TRUE, 0, nullptr, &size, 0));
    EXPECT_EQ(size, 500U);
    EXPECT_TRUE(CryptDecrypt(wrapping, hash, TRUE, 0, nullptr, &size));
    EXPECT_EQ(size, 1001U);
    ULONG_PTR signature = 0;
    size = sizeof(signature);
    auto* const octets = reinterpret_cast<BYTE*>(&signature);
    EXPECT_TRUE(CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, octets, &size));
    EXPECT_EQ(signature, 502U);
    EXPECT_TRUE(CryptSignHashW(hash, AT_SIGNATURE, nullptr, 0, octets, &size));
    EXPECT_EQ(signature, 503U);
    const BYTE good = 2;
    EXPECT_TRUE(CryptVerifySignatureA(hash, &good, 1, user, nullptr, 0));
    EXPECT_TRUE(CryptVerifySignatureW(hash, &good, 1, user, nullptr, 0));
    EXPECT_FAILS_WITH(NTE_BAD_SIGNATURE, CryptVerifySignatureA(hash, &good, 1, 0, nullptr, 0));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptDestroyKey(imported));
}

TEST_F(FakeProvider, HasTheErrorWordsOfItsKeysPassedOn) {
    HCRYPTPROV context = 0;
    HCRYPTKEY key = 7;
    HCRYPTKEY none = 7;
    HCRYPTHASH hash = 0;
    BYTE data[8] = {};
    DWORD size = sizeof(data);
    ASSERT_TRUE(Acquire(&context, kFakeCspName, kFakeCspType, 0));
    ASSERT_TRUE(CryptGenKey(context, 500, 0, &key));
    ASSERT_TRUE(CryptCreateHash(context, 1, 0, 0, &hash));
    EXPECT_FAILS_WITH(NTE_NO_KEY, CryptGetUserKey(context, test_support::kMissingKeySpec, &none));
    EXPECT_FAILS_WITH(1234, CryptImportKey(context, data, 8, 0, 1234, &none));
    EXPECT_EQ(none, 7U);
    EXPECT_FAILS_WITH(1234, CryptExportKey(key, 0, PRIVATEKEYBLOB, 1234, data, &size));
    EXPECT_FAILS_WITH(1234, CryptEncrypt(key, 0, TRUE, 1234, data, &size, 8));
    EXPECT_FAILS_WITH(1234, CryptDecrypt(key, 0, TRUE, 1234, data, &size));
    EXPECT_FAILS_WITH(1234, CryptSignHashA(hash, AT_SIGNATURE, nullptr, 1234, data, &size));
    data[0] = 0;
    EXPECT_FAILS_WITH(1234, CryptVerifySignatureA(hash, data, 1, 0, nullptr, 1234));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
}

TEST_F(FakeProvider, KeepsAHandleWhoseObjectItRefusesToDestroy) {
    HCRYPTPROV context = 0;
    HCRYPTKEY key = 0;
    ASSERT_TRUE(Acquire(&context, kFakeCspName, kFakeCspType, 0));
    ASSERT_TRUE(CryptGenKey(context, test_support::kStubbornKey, 0, &key));
    EXPECT_FAILS_WITH(NTE_FAIL, CryptDestroyKey(key));
    EXPECT_EQ(HandleBehindKey(key), test_support::kStubbornKey);
    EXPECT_TRUE(CryptDestroyKey(key));
    EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptDestroyKey(key));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
}

TEST_F(FakeProvider, DoesNotGetAnotherProvidersKeys) {
    HCRYPTPROV context = 0;
    ASSERT_TRUE(Acquire(&context, kFakeCspName, kFakeCspType, 0));
    const test_support::VerifyContext other;
    const test_support::Key key(other);
    HCRYPTHASH hash = 0;
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CryptCreateHash(context, 1, key.Get(), 0, &hash));
    HCRYPTKEY own = 0;
    HCRYPTKEY imported = 0;
    ASSERT_TRUE(CryptGenKey(context, 500, 0, &own));
    ASSERT_TRUE(CryptCreateHash(context, 1, 0, 0, &hash));
    BYTE data[8] = {};
    DWORD size = sizeof(data);
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CryptImportKey(context, data, 8, key.Get(), 0, &imported));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CryptExportKey(own, key.Get(), PRIVATEKEYBLOB, 0, data, &size));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CryptVerifySignatureA(hash, data, 8, key.Get(), nullptr, 0));
    const test_support::Hash otherHash(other, kGost94);
    EXPECT_FAILS_WITH(NTE_BAD_HASH, CryptEncrypt(own, otherHash.Get(), TRUE, 0, data, &size, 8));
    EXPECT_FAILS_WITH(NTE_BAD_HASH, CryptDecrypt(own, otherHash.Get(), TRUE, 0, data, &size));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
}

TEST_F(FakeProvider, GivesNoContextWhereItDeletedAKeySet) {
    HCRYPTPROV context = 1;
    EXPECT_TRUE(Acquire(&context, kFakeCspName, kFakeCspType, CRYPT_DELETEKEYSET, "some"));
    EXPECT_EQ(context, 0U);
}

}  // namespace
