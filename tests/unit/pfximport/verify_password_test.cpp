#include "pfximport/verify_password.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/blob.h"
#include "integration/fault_tally.h"
#include "platform/cryptoapi.h"
#include "support/pfx_builder.h"
#include "support/platform_calls.h"

namespace {

using pkisdk::Blob;
using test_support::Bytes;
using test_support::Element;
using test_support::Join;
using test_support::PfxBuilder;
using test_support::PlatformCalls;

constexpr DWORD kInjected = 0xE0001234;
constexpr DWORD kBadData = static_cast<DWORD>(NTE_BAD_DATA);
constexpr DWORD kWrongPassword = static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD);

class VerifyPfxPasswordTest : public ::testing::Test {
  protected:
    void SetUp() override { Calls().Reset(); }
    void TearDown() override {
        ExpectNothingOpen();
        Calls().Reset();
    }
    static PlatformCalls& Calls() { return PlatformCalls::Get(); }
    static void ExpectNothingOpen() {
        EXPECT_EQ(Calls().OpenContexts(), 0);
        EXPECT_EQ(Calls().OpenKeys(), 0);
        EXPECT_EQ(Calls().OpenHashes(), 0);
        EXPECT_EQ(Calls().OpenRegistryKeys(), 0);
        EXPECT_EQ(Calls().OpenHeapBlocks(), 0);
    }
    static int Verify(const Bytes& document, const std::string& password = "Password1") {
        const Blob blob(document.data(), document.size());
        SetLastError(kInjected);
        return pkisdk::VerifyPfxPassword(password.c_str(), &blob, "not looked at");
    }
    static void ExpectError(const Bytes& document, DWORD error,
                            const std::string& password = "Password1") {
        EXPECT_EQ(Verify(document, password), 0);
        EXPECT_EQ(GetLastError(), error) << std::hex << GetLastError();
    }
    static void ExpectFits(const Bytes& document, const std::string& password = "Password1") {
        EXPECT_EQ(Verify(document, password), 1) << std::hex << GetLastError();
        EXPECT_EQ(GetLastError(), 0u);
    }
};

TEST_F(VerifyPfxPasswordTest, TheRightPasswordFitsForEveryDigest) {
    PfxBuilder builder;
    ExpectFits(builder.Build());
    builder.hashAlgorithm = 0x8022;
    builder.digestOid.back() = 0x03;
    ExpectFits(builder.Build());
    builder.hashAlgorithm = 0x801E;
    builder.digestOid = {0x2A, 0x85, 0x03, 0x02, 0x02, 0x09};
    ExpectFits(builder.Build());
    builder.hashAlgorithm = 0x8004;
    builder.digestOid = {0x2B, 0x0E, 0x03, 0x02, 0x1A};
    ExpectFits(builder.Build());
}

TEST_F(VerifyPfxPasswordTest, WithoutACountItIsOne) {
    PfxBuilder builder;
    builder.withIterations = false;
    builder.iterations = 1;
    ExpectFits(builder.Build());
}

TEST_F(VerifyPfxPasswordTest, ACountOfZeroIsTakenAsTheDefaultOf2000) {
    PfxBuilder builder;
    builder.iterationOctets = {0};
    builder.iterations = 2000;
    ExpectFits(builder.Build());
}

TEST_F(VerifyPfxPasswordTest, ACountIsReadBigEndianAndUnsignedUpToFourBytes) {
    PfxBuilder builder;
    builder.iterationOctets = {0x00, 0x00, 0x01, 0x02};
    builder.iterations = 258;
    ExpectFits(builder.Build());
    builder.iterationOctets = {0x82};
    builder.iterations = 130;
    ExpectFits(builder.Build());
}

TEST_F(VerifyPfxPasswordTest, ACountOfFiveBytesIsBadData) {
    PfxBuilder builder;
    builder.iterationOctets = {0, 0, 0, 0, 3};
    ExpectError(builder.Build(), kBadData);
}

TEST_F(VerifyPfxPasswordTest, ACountWithoutBytesIsBadData) {
    PfxBuilder builder;
    builder.iterationOctets = {};
    ExpectError(builder.Build(), kBadData);
}

TEST_F(VerifyPfxPasswordTest, AnEmptySaltIsBadDataAndNotCompared) {
    PfxBuilder builder;
    builder.saltElement = [](const Bytes&) { return Element(0x04, {}); };
    ExpectError(builder.Build(), kBadData);
    EXPECT_EQ(Calls().Count("CryptAcquireContextA"), 0);
}

TEST_F(VerifyPfxPasswordTest, AnEmptyStoredMacIsBadData) {
    PfxBuilder builder;
    builder.mac = [](const Bytes&) { return Bytes{}; };
    ExpectError(builder.Build(), kBadData);
}

TEST_F(VerifyPfxPasswordTest, AStoredMacThatIsAPrefixIsAMismatch) {
    PfxBuilder builder;
    builder.mac = [](const Bytes& mac) { return Bytes(mac.begin(), mac.end() - 1); };
    ExpectError(builder.Build(), kWrongPassword);
    builder.mac = [](const Bytes& mac) { return Join({mac, {0x55}}); };
    ExpectError(builder.Build(), kWrongPassword);
}

TEST_F(VerifyPfxPasswordTest, AnyWrongPasswordOf1To32BytesIsToldByOneWord) {
    const Bytes document = PfxBuilder().Build();
    for (std::size_t length = 1; length <= 32; ++length) {
        ExpectError(document, kWrongPassword, std::string(length, 'p'));
    }
}

TEST_F(VerifyPfxPasswordTest, AnEmptyPasswordIsInvalid) {
    ExpectError(PfxBuilder().Build(), ERROR_INVALID_PASSWORD, "");
}

TEST_F(VerifyPfxPasswordTest, APasswordOf33BytesIsInvalidThoughItsMacFits) {
    PfxBuilder builder;
    builder.password = std::string(33, 'p');
    ExpectError(builder.Build(), ERROR_INVALID_PASSWORD, builder.password);
    builder.password = std::string(32, 'p');
    ExpectFits(builder.Build(), builder.password);
}

TEST_F(VerifyPfxPasswordTest, ASaltUnderAFurtherSequenceIsRefused) {
    PfxBuilder builder;
    builder.saltElement = [](const Bytes& salt) { return Element(0x30, salt); };
    ExpectError(builder.Build(), kBadData);
}

TEST_F(VerifyPfxPasswordTest, WhatLiesBehindMacDataIsNoFieldOfIt) {
    PfxBuilder builder;
    builder.withIterations = false;
    const Bytes head =
        Join({Element(0x02, {3}), test_support::DataContentInfo(builder.AuthSafe())});
    ExpectError(Element(0x30, Join({head, builder.MacData(), Element(0x02, {3})})), kBadData);
    builder.iterations = 1;
    builder.saltElement = [](const Bytes&) { return Bytes{}; };
    ExpectError(Element(0x30, Join({head, builder.MacData(), Element(0x04, builder.salt)})),
                kBadData);
}

TEST_F(VerifyPfxPasswordTest, ASaltOfAnotherTagIsRefused) {
    PfxBuilder builder;
    builder.saltElement = [](const Bytes& salt) {
        return Join({{0x0C}, Bytes(salt.begin() + 1, salt.end())});
    };
    ExpectError(builder.Build(), kBadData);
}

TEST_F(VerifyPfxPasswordTest, WithoutMacDataItIsBadData) {
    PfxBuilder builder;
    builder.withMacData = false;
    ExpectError(builder.Build(), kBadData);
}

TEST_F(VerifyPfxPasswordTest, NoDocumentIsBadData) {
    EXPECT_EQ(pkisdk::VerifyPfxPassword("Password1", nullptr, ""), 0);
    EXPECT_EQ(GetLastError(), kBadData);
}

TEST_F(VerifyPfxPasswordTest, AnEmptyDocumentIsBadData) {
    ExpectError({}, kBadData);
}

TEST_F(VerifyPfxPasswordTest, BytesThatAreNoDocumentAreBadData) {
    ExpectError({0x05, 0x01, 0x41}, kBadData);
    ExpectError({0x02, 0x01, 0x41}, kBadData);
}

TEST_F(VerifyPfxPasswordTest, WithoutAnOidInMacDataItIsBadData) {
    const Bytes macData = Element(
        0x30, Join({Element(0x30, Join({Element(0x30, Element(0x05, {})), Element(0x04, {1})})),
                    Element(0x04, {2})}));
    ExpectError(Element(0x30, Join({Element(0x02, {3}), macData})), kBadData);
    EXPECT_EQ(Calls().Count("CryptFindOIDInfo"), 0);
}

TEST_F(VerifyPfxPasswordTest, WithoutANodeOfDepthFourItIsBadData) {
    // The digest's OID at depth 3 leaves depth 4 to nobody.
    const Bytes macData = Element(
        0x30,
        Join({Element(0x30, Join({Element(0x06, PfxBuilder().digestOid), Element(0x04, {1})})),
              Element(0x04, {2})}));
    ExpectError(Element(0x30, Join({Element(0x02, {3}), macData})), kBadData);
    EXPECT_EQ(Calls().Count("CryptAcquireContextA"), 1);
}

TEST_F(VerifyPfxPasswordTest, AnUnknownDigestIsWhateverItsLookupLeft) {
    PfxBuilder builder;
    builder.digestOid = {0x2A, 0x03, 0x04};
    ExpectError(builder.Build(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
    EXPECT_EQ(Calls().Count("CryptAcquireContextA"), 0);
}

TEST_F(VerifyPfxPasswordTest, ALookupThatMissesAndLeavesNoErrorIsSuccess) {
    Calls().ReplaceOidInfo([](const char*) -> PCCRYPT_OID_INFO { return nullptr; });
    PfxBuilder builder;
    builder.mac = [](const Bytes& mac) { return Bytes(mac.size(), 7); };
    ExpectFits(builder.Build(), "any password");
    EXPECT_EQ(Calls().Count("CryptAcquireContextA"), 0);
}

TEST_F(VerifyPfxPasswordTest, ADigestThatThePlatformKnowsWithoutAnAlgorithmIsNotASuccess) {
    static CRYPT_OID_INFO row{};
    row.cbSize = sizeof row;
    Calls().ReplaceOidInfo([](const char*) -> PCCRYPT_OID_INFO { return &row; });
    ExpectError(PfxBuilder().Build(), static_cast<DWORD>(NTE_BAD_ALGID));
}

TEST_F(VerifyPfxPasswordTest, TheDigestIsLookedUpByItsDottedText) {
    std::string asked;
    Calls().ReplaceOidInfo([&asked](const char* oid) -> PCCRYPT_OID_INFO {
        asked = oid;
        SetLastError(kInjected);
        return nullptr;
    });
    ExpectError(PfxBuilder().Build(), kInjected);
    EXPECT_EQ(asked, "1.2.643.7.1.1.2.2");
}

TEST_F(VerifyPfxPasswordTest, AProviderThatCannotBeAcquiredIsItsError) {
    Calls().FailNamed("CryptAcquireContextA", 1, kInjected);
    ExpectError(PfxBuilder().Build(), kInjected);
}

// Without its type in the registry a provider can't be asked for.
TEST_F(VerifyPfxPasswordTest, ARegistryThatCannotBeReadIsTheRefusalOfTheContext) {
    Calls().FailNamed("RegOpenKeyExA", 1, 5);
    ExpectError(PfxBuilder().Build(), static_cast<DWORD>(NTE_BAD_PROV_TYPE));
}

TEST_F(VerifyPfxPasswordTest, EveryFailingCallIsAnErrorAndClosesAll) {
    const Bytes document = PfxBuilder().Build();
    for (const bool stay : {false, true}) {
        for (int n = 1;; ++n) {
            Calls().Reset();
            Calls().FailFrom(n, stay, kInjected);
            const int answer = Verify(document);
            const DWORD error = GetLastError();
            if (!Calls().Failed()) {
                EXPECT_EQ(answer, 1);
                EXPECT_GT(n, 40);
                test_support::TellPoints(std::string("calls of a verification, ") +
                                             (stay ? "all from one on fail" : "one fails"),
                                         static_cast<std::size_t>(n) - 1);
                break;
            }
            const std::string name = Calls().Log()[static_cast<std::size_t>(n) - 1];
            DWORD expected = kInjected;
            if (name == "HeapAlloc" || name == "MultiByteToWideChar" ||
                name == "WideCharToMultiByte") {
                expected = ERROR_INVALID_PASSWORD;
            } else if (name.starts_with("Reg") && !stay) {
                expected = static_cast<DWORD>(NTE_BAD_PROV_TYPE);
            }
            EXPECT_EQ(answer, 0) << n << " " << name;
            EXPECT_EQ(error, expected) << n << " " << name;
            ExpectNothingOpen();
        }
    }
}

}  // namespace
