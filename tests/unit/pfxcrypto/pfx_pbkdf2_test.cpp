#include "pfxcrypto/pfx_pbkdf2.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "pfxcrypto/pfx_constants.h"
#include "support/provider_fixture.h"
#include "support/reference_crypto.h"

namespace {

using pkisdk::Blob;
using pkisdk::kGost28147;
using pkisdk::kGostR3411_256;
using pkisdk::kGostR3411_512;
using pkisdk::kGostR3411_94;
using pkisdk::PfxPbkdf2;
using test_support::Bytes;
using test_support::FromHex;
using test_support::ReferencePbkdf2;

constexpr DWORD kInjected = 0xE0001234;

Blob ToBlob(const Bytes& bytes) {
    return {bytes.data(), bytes.size()};
}
Blob ToBlob(const std::string& text) {
    return {text.data(), text.size()};
}
Bytes ToBytes(const Blob& blob) {
    return {blob.Bytes().begin(), blob.Bytes().end()};
}

class PfxPbkdf2Test : public test_support::ProviderTest {
  protected:
    int Derive(ALG_ID hash, const std::string& password, const Bytes& salt, unsigned iterations,
               unsigned length) {
        return PfxPbkdf2(provider_, hash, kGost28147, ToBlob(password), ToBlob(salt), iterations,
                         length, &output_);
    }
    Bytes Derived(ALG_ID hash, const std::string& password, const Bytes& salt, unsigned iterations,
                  unsigned length) {
        EXPECT_NE(Derive(hash, password, salt, iterations, length), 0)
            << std::hex << GetLastError();
        return ToBytes(output_);
    }

    Blob output_;
};

const Bytes kSalt = {'s', 'a', 'l', 't'};

// The vectors of the Russian recommendation on password-based cryptography (R 50.1.111-2016).
TEST_F(PfxPbkdf2Test, GivesThePublishedVectorsOfStreebog512) {
    EXPECT_EQ(Derived(kGostR3411_512, "password", kSalt, 1, 64),
              FromHex("64770af7f748c3b1c9ac831dbcfd85c26111b30a8a657ddc3056b80ca73e040d"
                      "2854fd36811f6d825cc4ab66ec0a68a490a9e5cf5156b3a2b7eecddbf9a16b47"));
    EXPECT_EQ(Derived(kGostR3411_512, "password", kSalt, 2, 64),
              FromHex("5a585bafdfbb6e8830d6d68aa3b43ac00d2e4aebce01c9b31c2caed56f0236d4"
                      "d34b2b8fbd2c4e89d54d46f50e47d45bbac301571743119e8d3c42ba66d348de"));
    EXPECT_EQ(Derived(kGostR3411_512, "password", kSalt, 4096, 64),
              FromHex("e52deb9a2d2aaff4e2ac9d47a41f34c20376591c67807f0477e32549dc341bc7"
                      "867c09841b6d58e29d0347c996301d55df0d34e47cf68f4e3c2cdaf1d9ab86c3"));
}

TEST_F(PfxPbkdf2Test, EqualsTheLibrarysOwnForEveryHash) {
    std::mt19937 generator(20261121);
    const auto below = [&generator](unsigned bound) {
        return static_cast<unsigned>(generator() % bound);
    };
    for (int round = 0; round < 60; ++round) {
        const ALG_ID hash = std::array{kGostR3411_94, kGostR3411_256, kGostR3411_512}[round % 3];
        std::string password(1 + below(32), '\0');
        Bytes salt(1 + below(64));
        for (char& c : password) {
            c = static_cast<char>(below(256));
        }
        for (std::uint8_t& c : salt) {
            c = static_cast<std::uint8_t>(below(256));
        }
        const unsigned iterations = 1 + below(50);
        const unsigned length = 1 + below(200);
        EXPECT_EQ(Derived(hash, password, salt, iterations, length),
                  ReferencePbkdf2(hash, password, salt, iterations, length))
            << round;
    }
    ExpectNothingOpen();
}

TEST_F(PfxPbkdf2Test, ZeroIterationsAre2000) {
    const Bytes zero = Derived(kGostR3411_512, "password", kSalt, 0, 40);
    EXPECT_EQ(zero, Derived(kGostR3411_512, "password", kSalt, 2000, 40));
    EXPECT_EQ(zero, ReferencePbkdf2(kGostR3411_512, "password", kSalt, 2000, 40));
}

TEST_F(PfxPbkdf2Test, ALengthOffTheHashLengthCutsTheLastBlockShort) {
    const Bytes whole = Derived(kGostR3411_94, "password", kSalt, 3, 64);
    const Bytes cut = Derived(kGostR3411_94, "password", kSalt, 3, 40);
    EXPECT_EQ(cut, Bytes(whole.begin(), whole.begin() + 40));
}

TEST_F(PfxPbkdf2Test, NoOutputIsSuccessWithoutAnHmac) {
    EXPECT_NE(Derive(kGostR3411_512, "password", kSalt, 3, 0), 0);
    EXPECT_TRUE(output_.IsEmpty());
    EXPECT_EQ(Calls().Count("CryptCreateHash"), 1);
    ExpectNothingOpen();
}

TEST_F(PfxPbkdf2Test, ANewHmacIsMadeForEachIterationAndBlock) {
    Derived(kGostR3411_94, "password", kSalt, 5, 40);
    EXPECT_EQ(Calls().Count("CryptCreateHash"), 1 + 2 * 5);
    EXPECT_EQ(Calls().Count("CryptHashData"), 2 * (5 + 1));
    EXPECT_EQ(Calls().Count("CryptGenKey"), 1);
    Calls().Reset();
    Derived(kGostR3411_512, "password", kSalt, 5, 96);
    EXPECT_EQ(Calls().Count("CryptCreateHash"), 1 + 2 * 5);
}

TEST_F(PfxPbkdf2Test, ALongPasswordIsHashedFirst) {
    const std::string password(33, 'p');
    const Bytes salt = FromHex("0102");
    // The key is then the hash of the password.
    HCRYPTHASH hash = 0;
    ASSERT_TRUE(CryptCreateHash(provider_, kGostR3411_256, 0, 0, &hash));
    ASSERT_TRUE(CryptHashData(hash, reinterpret_cast<const BYTE*>(password.data()), 33, 0));
    std::string key(32, '\0');
    DWORD size = 32;
    ASSERT_TRUE(CryptGetHashParam(hash, HP_HASHVAL, reinterpret_cast<BYTE*>(key.data()), &size, 0));
    CryptDestroyHash(hash);
    EXPECT_EQ(Derived(kGostR3411_256, password, salt, 2, 40),
              ReferencePbkdf2(kGostR3411_256, key, salt, 2, 40));
}

TEST_F(PfxPbkdf2Test, ALongPasswordWithALongHashIsRefusedByTheProvider) {
    EXPECT_EQ(Derive(kGostR3411_512, std::string(33, 'p'), kSalt, 2, 40), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
    ExpectNothingOpen();
}

TEST_F(PfxPbkdf2Test, WithoutAProviderTheOutputIsUntouched) {
    output_ = ToBlob(std::string("kept"));
    EXPECT_EQ(PfxPbkdf2(0, kGostR3411_512, kGost28147, ToBlob(std::string("p")), ToBlob(kSalt), 1,
                        40, &output_),
              0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_INVALID_PARAMETER));
    EXPECT_EQ(output_, ToBlob(std::string("kept")));
    EXPECT_TRUE(Calls().Log().empty());
}

TEST_F(PfxPbkdf2Test, TheHashLengthIsAskedAgainOfAProviderThatKnewNone) {
    Calls().ReplaceHashLengths({0});
    EXPECT_EQ(Derived(kGostR3411_94, "password", kSalt, 2, 40),
              ReferencePbkdf2(kGostR3411_94, "password", kSalt, 2, 40));
}

TEST_F(PfxPbkdf2Test, AHashWithoutLengthEndsTheDerivation) {
    Calls().ReplaceHashLengths({0, 0});
    EXPECT_EQ(Derive(kGostR3411_94, "password", kSalt, 2, 40), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_LEN));
    ExpectNothingOpen();
}

TEST_F(PfxPbkdf2Test, AHashWhoseLengthIsRefusedWhenAskedAgainEndsTheDerivation) {
    Calls().ReplaceHashLengths({0});
    Calls().FailNamed("CryptGetHashParam", 2, kInjected);
    EXPECT_EQ(Derive(kGostR3411_94, "password", kSalt, 2, 40), 0);
    EXPECT_EQ(GetLastError(), kInjected);
    ExpectNothingOpen();
}

TEST_F(PfxPbkdf2Test, ALongPasswordThatCannotBeHashedEndsTheDerivation) {
    Calls().FailNamed("CryptHashData", 1, kInjected);
    EXPECT_EQ(Derive(kGostR3411_94, std::string(33, 'p'), kSalt, 2, 40), 0);
    EXPECT_EQ(GetLastError(), kInjected);
    EXPECT_EQ(Calls().Count("CryptGenKey"), 0);
    ExpectNothingOpen();
}

TEST_F(PfxPbkdf2Test, EveryFailingCallLeavesItsErrorAndZeroesAndClosesAll) {
    for (const bool stay : {false, true}) {
        for (int n = 1;; ++n) {
            Calls().Reset();
            output_ = ToBlob(std::string("from before"));
            Calls().FailFrom(n, stay, kInjected);
            const int answer = Derive(kGostR3411_94, "password", kSalt, 3, 40);
            if (!Calls().Failed()) {
                EXPECT_NE(answer, 0);
                EXPECT_GT(n, 20);
                break;
            }
            EXPECT_EQ(answer, 0) << n;
            EXPECT_EQ(GetLastError(), kInjected) << n;
            EXPECT_EQ(ToBytes(output_), Bytes(output_.GetSize())) << n;
            EXPECT_FALSE(output_.IsEmpty()) << n;
            ExpectNothingOpen();
        }
    }
}

}  // namespace
