// Keys and hashes under wrong, freed and null handles, and missing pointers.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "platform/cryptoapi.h"
#include "support/csp_guards.h"
#include "support/last_error.h"
#include "support/scoped_environment.h"

namespace {

using test_support::Hash;
using test_support::Key;
using test_support::kGost28147;
using test_support::kGost94;
using test_support::VerifyContext;

class Handles : public testing::Test {
  protected:
    // Numbers that are no key's and no hash's: freed ones, those of other kinds, and plain
    // nonsense.
    std::vector<ULONG_PTR> BadHandles() const {
        HCRYPTKEY key = 0;
        HCRYPTHASH hash = 0;
        EXPECT_TRUE(CryptGenKey(context_.Get(), kGost28147, 0, &key));
        EXPECT_TRUE(CryptCreateHash(context_.Get(), kGost94, 0, 0, &hash));
        EXPECT_TRUE(CryptDestroyKey(key));
        EXPECT_TRUE(CryptDestroyHash(hash));
        return {0, 1, 2, 3, 0xFFFFFFFF, ~ULONG_PTR{0}, key, hash, context_.Get()};
    }

    test_support::ScopedSettings settings_;
    VerifyContext context_;
    std::array<BYTE, 64> data_{};
    DWORD size_ = 64;
};

TEST_F(Handles, OfKeysAreRefusedWhereTheyAreNone) {
    const Hash hash(context_, kGost94);
    std::vector<ULONG_PTR> handles = BadHandles();
    handles.push_back(hash.Get());
    for (const ULONG_PTR bad : handles) {
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptDestroyKey(bad)) << bad;
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE,
                          CryptGetKeyParam(bad, KP_IV, data_.data(), &size_, 0));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptSetKeyParam(bad, KP_IV, data_.data(), 0));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE,
                          CryptExportKey(bad, 0, PRIVATEKEYBLOB, 0, data_.data(), &size_));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE,
                          CryptEncrypt(bad, 0, TRUE, 0, data_.data(), &size_, size_));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE,
                          CryptDecrypt(bad, 0, TRUE, 0, data_.data(), &size_));
    }
}

TEST_F(Handles, OfHashesAreRefusedWhereTheyAreNone) {
    const Key key(context_);
    std::vector<ULONG_PTR> handles = BadHandles();
    handles.push_back(key.Get());
    for (const ULONG_PTR bad : handles) {
        HCRYPTHASH copy = 0;
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptDestroyHash(bad)) << bad;
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptHashData(bad, data_.data(), 1, 0));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE,
                          CryptGetHashParam(bad, HP_HASHVAL, data_.data(), &size_, 0));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE,
                          CryptSetHashParam(bad, HP_HMAC_INFO, data_.data(), 0));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE, CryptDuplicateHash(bad, nullptr, 0, &copy));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE,
                          CryptSignHashA(bad, AT_SIGNATURE, nullptr, 0, data_.data(), &size_));
        EXPECT_FAILS_WITH(ERROR_INVALID_HANDLE,
                          CryptVerifySignatureA(bad, data_.data(), 64, 0, nullptr, 0));
    }
}

TEST_F(Handles, OfKeysAreCheckedWhereAHashIsMade) {
    for (const ULONG_PTR bad : BadHandles()) {
        HCRYPTHASH hash = 0;
        const DWORD word = bad == 0 ? static_cast<DWORD>(NTE_BAD_KEY) : DWORD{ERROR_INVALID_HANDLE};
        EXPECT_FAILS_WITH(word, CryptCreateHash(context_.Get(), CALG_HMAC, bad, 0, &hash)) << bad;
        EXPECT_EQ(hash, 0U);
    }
}

TEST_F(Handles, AreNotGivenWithoutAPlaceForThem) {
    const Hash hash(context_, kGost94);
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, CryptGenKey(context_.Get(), kGost28147, 0, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CryptCreateHash(context_.Get(), kGost94, 0, 0, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, CryptDuplicateHash(hash.Get(), nullptr, 0, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CryptGetUserKey(context_.Get(), AT_SIGNATURE, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CryptImportKey(context_.Get(), data_.data(), 64, 0, 0, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CryptSignHashA(hash.Get(), AT_SIGNATURE, "some", 0, data_.data(), &size_));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CryptVerifySignatureA(hash.Get(), data_.data(), 64, 0, "some", 0));
}

TEST_F(Handles, AreNotUsedTwice) {
    std::vector<HCRYPTHASH> seen;
    for (int i = 0; i < 1000; ++i) {
        HCRYPTHASH hash = 0;
        ASSERT_TRUE(CryptCreateHash(context_.Get(), kGost94, 0, 0, &hash));
        seen.push_back(hash);
        ASSERT_TRUE(CryptDestroyHash(hash));
    }
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(std::adjacent_find(seen.begin(), seen.end()), seen.end());
}

TEST_F(Handles, MayBeMany) {
    std::vector<HCRYPTHASH> open(5000);
    for (HCRYPTHASH& hash : open) {
        ASSERT_TRUE(CryptCreateHash(context_.Get(), kGost94, 0, 0, &hash));
    }
    for (const HCRYPTHASH hash : open) {
        ASSERT_TRUE(CryptDestroyHash(hash));
    }
}

}  // namespace
