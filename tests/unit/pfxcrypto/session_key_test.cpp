#include "pfxcrypto/session_key.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pfxcrypto/pfx_constants.h"
#include "support/provider_fixture.h"
#include "support/reference_crypto.h"

namespace {

using pkisdk::Blob;
using pkisdk::DerivePfxSessionKey;
using pkisdk::kGost28147;
using pkisdk::kGostR3411_512;
using pkisdk::kGostR3411_94;
using test_support::Bytes;
using test_support::ReferenceHmac;
using test_support::ReferencePbkdf2;

constexpr DWORD kInjected = 0xE0001234;
constexpr HCRYPTKEY kUntouchedKey = 0x5A5A;

class DerivePfxSessionKeyTest : public test_support::ProviderTest {
  protected:
    int Derive(const char* password, ALG_ID hash, unsigned iterations = 2) {
        key_ = kUntouchedKey;
        return DerivePfxSessionKey(password, provider_, kGost28147, hash, iterations, &key_,
                                   &salt_);
    }
    Bytes SaltBytes() const { return {salt_.Bytes().begin(), salt_.Bytes().end()}; }

    Bytes Vector() const {
        Bytes vector(8);
        DWORD size = 8;
        EXPECT_TRUE(CryptGetKeyParam(key_, KP_IV, vector.data(), &size, 0));
        EXPECT_EQ(size, 8u);
        return vector;
    }
    // The key's value can't be read; an HMAC under it tells it all the same.
    Bytes HmacUnderKey() const {
        HMAC_INFO info{};
        info.HashAlgid = kGostR3411_94;
        HCRYPTHASH hmac = 0;
        EXPECT_TRUE(CryptCreateHash(provider_, CALG_HMAC, key_, 0, &hmac));
        EXPECT_TRUE(CryptSetHashParam(hmac, HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), 0));
        EXPECT_TRUE(CryptHashData(hmac, reinterpret_cast<const BYTE*>("data"), 4, 0));
        Bytes value(32);
        DWORD size = 32;
        EXPECT_TRUE(CryptGetHashParam(hmac, HP_HASHVAL, value.data(), &size, 0));
        CryptDestroyHash(hmac);
        return value;
    }
    void ExpectKeyOf(const Bytes& derived) {
        EXPECT_EQ(HmacUnderKey(),
                  ReferenceHmac(kGostR3411_94, Bytes(derived.begin(), derived.begin() + 32),
                                {'d', 'a', 't', 'a'}));
        EXPECT_EQ(Vector(), Bytes(derived.begin() + 32, derived.end()));
    }
    void ExpectRefused(DWORD error) {
        EXPECT_EQ(GetLastError(), error);
        EXPECT_EQ(key_, kUntouchedKey);
        EXPECT_TRUE(salt_.IsEmpty());
    }

    HCRYPTKEY key_ = 0;
    Blob salt_;
};

TEST_F(DerivePfxSessionKeyTest, KeyAndVectorAreOneDerivationOfAFreshSalt) {
    SetLastError(kInjected);
    ASSERT_NE(Derive("Password1", kGostR3411_512), 0);
    EXPECT_EQ(GetLastError(), 0u);
    ASSERT_EQ(salt_.GetSize(), 32u);
    ExpectKeyOf(ReferencePbkdf2(kGostR3411_512, "Password1", SaltBytes(), 2, 40));
    CryptDestroyKey(key_);
}

TEST_F(DerivePfxSessionKeyTest, AShortHashTakesTheVectorFromTheStartOfItsSecondBlock) {
    ASSERT_NE(Derive("Password1", kGostR3411_94), 0);
    const Bytes blocks = ReferencePbkdf2(kGostR3411_94, "Password1", SaltBytes(), 2, 64);
    EXPECT_EQ(Vector(), Bytes(blocks.begin() + 32, blocks.begin() + 40));
    CryptDestroyKey(key_);
}

TEST_F(DerivePfxSessionKeyTest, ALongHashTakesTheVectorFromItsFirstBlock) {
    ASSERT_NE(Derive("Password1", kGostR3411_512), 0);
    const Bytes block = ReferencePbkdf2(kGostR3411_512, "Password1", SaltBytes(), 2, 64);
    EXPECT_EQ(Vector(), Bytes(block.begin() + 32, block.begin() + 40));
    CryptDestroyKey(key_);
}

TEST_F(DerivePfxSessionKeyTest, AFilledSaltGivesTheSameKeyEachTime) {
    ASSERT_NE(Derive("Password1", kGostR3411_512), 0);
    const Blob first = salt_;
    const Bytes hmac = HmacUnderKey();
    const Bytes vector = Vector();
    CryptDestroyKey(key_);
    ASSERT_NE(Derive("Password1", kGostR3411_512), 0);
    EXPECT_EQ(salt_, first);
    EXPECT_EQ(HmacUnderKey(), hmac);
    EXPECT_EQ(Vector(), vector);
    EXPECT_EQ(Calls().Count("CryptGenRandom"), 1);
    CryptDestroyKey(key_);
}

TEST_F(DerivePfxSessionKeyTest, AGivenSaltMayBeOfAnyLength) {
    salt_.Assign("12345678", 8);
    ASSERT_NE(Derive("Password1", kGostR3411_512), 0);
    EXPECT_EQ(SaltBytes(), Bytes({'1', '2', '3', '4', '5', '6', '7', '8'}));
    ExpectKeyOf(ReferencePbkdf2(kGostR3411_512, "Password1", SaltBytes(), 2, 40));
    CryptDestroyKey(key_);
}

TEST_F(DerivePfxSessionKeyTest, AFreshSaltIsDrawnWhole) {
    Calls().ReplaceRandom(0xA5);
    ASSERT_NE(Derive("Password1", kGostR3411_512), 0);
    EXPECT_EQ(SaltBytes(), Bytes(32, 0xA5));
    CryptDestroyKey(key_);
}

TEST_F(DerivePfxSessionKeyTest, ASaltThatCannotBeDrawnIsTold) {
    Calls().FailNamed("CryptGenRandom", 1, kInjected);
    EXPECT_EQ(Derive("Password1", kGostR3411_512), 0);
    ExpectRefused(kInjected);
}

TEST_F(DerivePfxSessionKeyTest, TheKeyIsGivenByValueBeforeItsVector) {
    ASSERT_NE(Derive("Password1", kGostR3411_512), 0);
    EXPECT_EQ(Calls().KeyParams(), (std::vector<DWORD>{KP_KEYVAL, KP_KEYVAL, KP_IV}));
    CryptDestroyKey(key_);
}

TEST_F(DerivePfxSessionKeyTest, TwoFreshSaltsDiffer) {
    ASSERT_NE(Derive("Password1", kGostR3411_512), 0);
    const Blob first = salt_;
    CryptDestroyKey(key_);
    salt_.Clear();
    ASSERT_NE(Derive("Password1", kGostR3411_512), 0);
    EXPECT_FALSE(salt_ == first);
    CryptDestroyKey(key_);
}

TEST_F(DerivePfxSessionKeyTest, ThirtyTwoBytesOfPasswordAreAccepted) {
    EXPECT_NE(Derive(std::string(32, 'p').c_str(), kGostR3411_512), 0);
    CryptDestroyKey(key_);
}

TEST_F(DerivePfxSessionKeyTest, ThirtyThreeBytesAreRefusedBeforeAnyCall) {
    EXPECT_EQ(Derive(std::string(33, 'p').c_str(), kGostR3411_512), 0);
    ExpectRefused(ERROR_INVALID_PASSWORD);
    EXPECT_TRUE(Calls().Log().empty());
}

TEST_F(DerivePfxSessionKeyTest, AMissingPasswordIsRefused) {
    EXPECT_EQ(Derive(nullptr, kGostR3411_512), 0);
    ExpectRefused(ERROR_INVALID_PASSWORD);
}

TEST_F(DerivePfxSessionKeyTest, AnEmptyPasswordIsRefusedByItsConversion) {
    EXPECT_EQ(Derive("", kGostR3411_512), 0);
    ExpectRefused(ERROR_INVALID_PASSWORD);
    EXPECT_EQ(Calls().Count("CryptCreateHash"), 0);
}

TEST_F(DerivePfxSessionKeyTest, AKeyThatRefusesItsValueTakesItAsX) {
    Calls().RefuseKeyParam(KP_KEYVAL, kInjected);
    // The derivation itself needs the value, so it fails here, and with it the session key.
    EXPECT_EQ(Derive("Password1", kGostR3411_512), 0);
    ExpectRefused(kInjected);
    Calls().Reset();
    // The second writing of a value is that of the session key.
    Calls().FailNamed("CryptSetKeyParam", 2, kInjected);
    ASSERT_NE(Derive("Password1", kGostR3411_512), 0);
    EXPECT_EQ(Calls().Count("CryptSetKeyParam"), 4);
    ExpectKeyOf(ReferencePbkdf2(kGostR3411_512, "Password1", SaltBytes(), 2, 40));
    CryptDestroyKey(key_);
}

// The session key itself stays open on every failure that comes after its making: it goes with the
// provider's context.
TEST_F(DerivePfxSessionKeyTest, EveryFailingCallIsReportedAndHandsNothingOut) {
    for (int n = 1;; ++n) {
        Calls().Reset();
        salt_.Clear();
        Calls().FailFrom(n, true, kInjected);
        const int answer = Derive("Password1", kGostR3411_94);
        if (!Calls().Failed()) {
            EXPECT_NE(answer, 0);
            EXPECT_GT(n, 20);
            CryptDestroyKey(key_);
            break;
        }
        EXPECT_EQ(answer, 0) << n;
        const bool text = Calls().Log().back() == "MultiByteToWideChar" ||
                          Calls().Log().back() == "WideCharToMultiByte" ||
                          Calls().Log().back() == "HeapAlloc";
        ExpectRefused(text ? static_cast<DWORD>(ERROR_INVALID_PASSWORD) : kInjected);
        EXPECT_EQ(Calls().OpenKeys(), n == 1 ? 0 : 1) << n;
        EXPECT_EQ(Calls().OpenHashes(), 0) << n;
        EXPECT_EQ(Calls().OpenHeapBlocks(), 0) << n;
    }
}

}  // namespace
