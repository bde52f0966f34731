#include "pfxcrypto/pfx_mac.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "derlist/der_parser.h"
#include "pfxcrypto/pfx_constants.h"
#include "support/provider_fixture.h"
#include "support/reference_crypto.h"

namespace {

using pkisdk::Blob;
using pkisdk::ComputePfxMac;
using pkisdk::DerList;
using pkisdk::kGost28147;
using pkisdk::kGostR3411_256;
using pkisdk::kGostR3411_512;
using pkisdk::kGostR3411_94;
using test_support::Bytes;
using test_support::FromHex;
using test_support::ReferencePfxMac;

constexpr DWORD kInjected = 0xE0001234;
const Bytes kCovered = FromHex("30 06 02 01 05 04 01 41");
const Bytes kSalt = FromHex("00 01 02 03 04 05 06 07");

class ComputePfxMacTest : public test_support::ProviderTest {
  protected:
    ComputePfxMacTest() : blob_(kSalt.data(), kSalt.size()) {
        pkisdk::ParseDerList(kCovered.data(), static_cast<std::int32_t>(kCovered.size()), &list_);
    }
    int Compute(const std::string& password, ALG_ID hash, ALG_ID keyAlgorithm = kGost28147) {
        return ComputePfxMac(list_, password.c_str(), provider_, hash, keyAlgorithm, 3, &blob_);
    }
    Bytes Value() const { return {blob_.Bytes().begin(), blob_.Bytes().end()}; }

    DerList list_;
    Blob blob_;
};

TEST_F(ComputePfxMacTest, AShortHashTakesItsKeyFromTheThirdBlock) {
    SetLastError(kInjected);
    ASSERT_NE(Compute("Password1", kGostR3411_94), 0);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(Value(), ReferencePfxMac(kGostR3411_94, "Password1", kSalt, 3, kCovered));
    EXPECT_EQ(Calls().Count("CryptHashData"), 3 * (3 + 1) + 1);
    ExpectNothingOpen();
}

TEST_F(ComputePfxMacTest, ALongHashTakesItsKeyFromTheSecondHalfOfTheSecondBlock) {
    ASSERT_NE(Compute("Password1", kGostR3411_512), 0);
    EXPECT_EQ(Value(), ReferencePfxMac(kGostR3411_512, "Password1", kSalt, 3, kCovered));
    EXPECT_EQ(Calls().Count("CryptHashData"), 2 * (3 + 1) + 1);
}

TEST_F(ComputePfxMacTest, BothKeysAreGivenByValue) {
    ASSERT_NE(Compute("Password1", kGostR3411_512), 0);
    EXPECT_EQ(Calls().KeyParams(), (std::vector<DWORD>{KP_KEYVAL, KP_KEYVAL}));
}

TEST_F(ComputePfxMacTest, TheValueIsAsLongAsTheHashWhateverTheSalt) {
    ASSERT_EQ(blob_.GetSize(), 8u);
    ASSERT_NE(Compute("Password1", kGostR3411_256), 0);
    EXPECT_EQ(blob_.GetSize(), 32u);
    ASSERT_NE(Compute("Password1", kGostR3411_512), 0);
    EXPECT_EQ(blob_.GetSize(), 64u);
}

TEST_F(ComputePfxMacTest, AWrongPasswordOnlyGivesAnotherValue) {
    ASSERT_NE(Compute("Password2", kGostR3411_256), 0);
    EXPECT_EQ(Value(), ReferencePfxMac(kGostR3411_256, "Password2", kSalt, 3, kCovered));
    EXPECT_NE(Value(), ReferencePfxMac(kGostR3411_256, "Password1", kSalt, 3, kCovered));
}

TEST_F(ComputePfxMacTest, TheKeyAlgorithmIsNotLookedAt) {
    ASSERT_NE(Compute("Password1", kGostR3411_256, 0xBAD), 0);
    EXPECT_EQ(Value(), ReferencePfxMac(kGostR3411_256, "Password1", kSalt, 3, kCovered));
}

TEST_F(ComputePfxMacTest, ThirtyThreeBytesAreRefusedBeforeAnyProviderCall) {
    EXPECT_EQ(Compute(std::string(33, 'p'), kGostR3411_256), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PASSWORD));
    EXPECT_EQ(Value(), kSalt);
    EXPECT_EQ(Calls().Count("CryptCreateHash") + Calls().Count("CryptGenKey"), 0);
}

TEST_F(ComputePfxMacTest, AnEmptyPasswordIsRefused) {
    EXPECT_EQ(Compute("", kGostR3411_256), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PASSWORD));
}

TEST_F(ComputePfxMacTest, NothingToCoverIsBadData) {
    list_.clear();
    EXPECT_EQ(Compute("Password1", kGostR3411_256), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA));
    EXPECT_EQ(Value(), kSalt);
}

TEST_F(ComputePfxMacTest, AMissingBlobIsBadData) {
    EXPECT_EQ(ComputePfxMac(list_, "Password1", provider_, kGostR3411_256, kGost28147, 3, nullptr),
              0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA));
}

TEST_F(ComputePfxMacTest, AMissingProviderIsAnInvalidParameter) {
    EXPECT_EQ(ComputePfxMac(list_, "Password1", 0, kGostR3411_256, kGost28147, 3, &blob_), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_INVALID_PARAMETER));
    EXPECT_EQ(Value(), kSalt);
}

TEST_F(ComputePfxMacTest, TheMacKeyHasNoSecondWayIn) {
    // The second writing of a value is that of the MAC's key.
    Calls().FailNamed("CryptSetKeyParam", 2, kInjected);
    EXPECT_EQ(Compute("Password1", kGostR3411_256), 0);
    EXPECT_EQ(GetLastError(), kInjected);
    EXPECT_EQ(Calls().Count("CryptSetKeyParam"), 2);
}

TEST_F(ComputePfxMacTest, EveryFailingCallIsReportedKeepsTheSaltAndClosesAll) {
    for (const bool stay : {false, true}) {
        for (int n = 1;; ++n) {
            Calls().Reset();
            blob_.Assign(kSalt.data(), kSalt.size());
            Calls().FailFrom(n, stay, kInjected);
            const int answer = Compute("Password1", kGostR3411_512);
            if (!Calls().Failed()) {
                EXPECT_NE(answer, 0);
                EXPECT_GT(n, 20);
                break;
            }
            const std::string& last = Calls().Log()[static_cast<std::size_t>(n) - 1];
            const bool text = last == "MultiByteToWideChar" || last == "WideCharToMultiByte" ||
                              last == "HeapAlloc";
            EXPECT_EQ(answer, 0) << n;
            EXPECT_EQ(GetLastError(), text ? static_cast<DWORD>(ERROR_INVALID_PASSWORD) : kInjected)
                << n;
            EXPECT_EQ(Value(), kSalt) << n;
            ExpectNothingOpen();
        }
    }
}

}  // namespace
