#include "pfxexport/mac_data.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "derlist/element_runs.h"
#include "pfxexport/pfx_skeleton.h"
#include "support/csp_guards.h"
#include "support/der_outline.h"
#include "support/export_fixture.h"
#include "support/pfx_builder.h"

namespace {

using pkisdk::AddMacDataHeader;
using pkisdk::AddPfxMacData;
using pkisdk::Blob;
using pkisdk::BuildPfxSkeleton;
using pkisdk::DerList;
using pkisdk::LooksLikeDer;
using test_support::Bytes;
using test_support::Element;
using test_support::Join;
using test_support::kInjected;

constexpr unsigned kSeed = 20;

Blob ToBlob(const Bytes& bytes) {
    return Blob(bytes.data(), bytes.size());
}

// What the runtime's generator gives after this seed, as salt number `draw` from 0: one value is
// burnt by the seed test.
Bytes SaltAfterSeed(unsigned seed, unsigned draw = 0) {
    std::srand(seed);
    std::rand();
    Bytes salt(32);
    for (unsigned count = 0; count <= draw; ++count) {
        for (std::uint8_t& octet : salt) {
            octet = static_cast<std::uint8_t>(std::rand());
        }
    }
    return salt;
}

// The skeleton's AuthenticatedSafe, which has no key bags.
Bytes AuthenticatedSafe() {
    return outline::FromHex("30 13 30 11 06 09 2A 86 48 86 F7 0D 01 07 01 A0 04 04 02 30 00");
}

class MacDataTest : public test_support::ExportTest {
  protected:
    MacDataTest() {
        BuildPfxSkeleton(&document_);
        Calls().Reset();
    }
    int Add(ALG_ID hash = 32802, std::uint32_t iterations = 3) {
        std::srand(seed_);
        SetLastError(kInjected);
        return AddPfxMacData("Password1", context_.Get(), hash, 26142, iterations, &document_);
    }
    // The whole document with this MacData behind the skeleton.
    void ExpectMacData(ALG_ID hash, const Bytes& oid, unsigned iterations,
                       const Bytes& iterationField, unsigned draw = 0) {
        EXPECT_EQ(GetLastError(), 0u);
        const Bytes salt = SaltAfterSeed(seed_, draw);
        const Bytes mac =
            test_support::ReferencePfxMac(hash, "Password1", salt, iterations, AuthenticatedSafe());
        const Bytes digest =
            Element(0x30, Join({Element(0x30, Element(0x06, oid)), Element(0x04, mac)}));
        const Bytes macData = Element(0x30, Join({digest, Element(0x04, salt), iterationField}));
        const Bytes data = outline::FromHex("06 09 2A 86 48 86 F7 0D 01 07 01");
        const Bytes content =
            Element(0x30, Join({data, Element(0xA0, Element(0x04, AuthenticatedSafe()))}));
        const Bytes pfx = Element(0x30, Join({{0x02, 0x01, 0x03}, content, macData}));
        EXPECT_EQ(outline::FlattenToHex(document_), outline::ToHex(ToBlob(pfx)));
        ExpectNothingOpen();
    }

    test_support::VerifyContext context_;
    DerList document_;
    unsigned seed_ = kSeed;
};

const Bytes kOid94 = {0x2A, 0x85, 0x03, 0x02, 0x02, 0x09};
const Bytes kOid512 = {0x2A, 0x85, 0x03, 0x07, 0x01, 0x01, 0x02, 0x03};

TEST_F(MacDataTest, ACountOf2000IsWrittenInTwoOctets) {
    EXPECT_EQ(Add(32802, 2000), 1);
    ExpectMacData(32802, kOid512, 2000, {0x02, 0x02, 0x07, 0xD0});
}

TEST_F(MacDataTest, TheDigestAlgorithmHasNoParametersForEitherHash) {
    EXPECT_EQ(Add(32798), 1);
    ExpectMacData(32798, kOid94, 3, {0x02, 0x02, 0x00, 0x03});
    BuildPfxSkeleton(&document_);
    EXPECT_EQ(Add(32802), 1);
    ExpectMacData(32802, kOid512, 3, {0x02, 0x02, 0x00, 0x03});
}

TEST_F(MacDataTest, ACountOf1IsLeftOut) {
    EXPECT_EQ(Add(32802, 1), 1);
    ExpectMacData(32802, kOid512, 1, {});
}

TEST_F(MacDataTest, ACountOf0Is2000) {
    EXPECT_EQ(Add(32802, 0), 1);
    ExpectMacData(32802, kOid512, 2000, {0x02, 0x02, 0x07, 0xD0});
}

TEST_F(MacDataTest, ACountOf40000HasNoLeadingZero) {
    EXPECT_EQ(Add(32802, 40000), 1);
    ExpectMacData(32802, kOid512, 40000, {0x02, 0x02, 0x9C, 0x40});
}

TEST_F(MacDataTest, ACountAbove65535LosesItsHighOctets) {
    EXPECT_EQ(Add(32802, 65536 + 5), 1);
    ExpectMacData(32802, kOid512, 65536 + 5, {0x02, 0x02, 0x00, 0x05});
}

TEST_F(MacDataTest, ASaltThatReadsAsAnElementIsDrawnAgain) {
    while (!LooksLikeDer(SaltAfterSeed(seed_))) {
        ++seed_;
    }
    EXPECT_EQ(Add(32802, 1), 1);
    ExpectMacData(32802, kOid512, 1, {}, 1);
}

TEST_F(MacDataTest, ASaltWhoseValueReadsAsAnElementIsDrawnAgain) {
    const auto value = [&] {
        return test_support::ReferencePfxMac(32798, "Password1", SaltAfterSeed(seed_), 1,
                                             AuthenticatedSafe());
    };
    while (!LooksLikeDer(value())) {
        ++seed_;
    }
    EXPECT_EQ(Add(32798, 1), 1);
    ExpectMacData(32798, kOid94, 1, {}, 1);
}

TEST_F(MacDataTest, EightSaltsInARowThatReadAsElementsAreBadData) {
    int draws = 0;
    // 02 02 02 02, eight times.
    Calls().ReplaceRuntimeRandom([&] {
        ++draws;
        return 2;
    });
    EXPECT_FAILS_WITH(NTE_BAD_DATA,
                      AddPfxMacData("Password1", context_.Get(), 32802, 26142, 1, &document_));
    EXPECT_EQ(draws, 1 + 8 * 32);
}

TEST_F(MacDataTest, AMissingListOrProviderIsBadDataBeforeAnythingElse) {
    EXPECT_FAILS_WITH(NTE_BAD_DATA,
                      AddPfxMacData("Password1", context_.Get(), 32802, 26142, 1, nullptr));
    EXPECT_FAILS_WITH(NTE_BAD_DATA, AddPfxMacData("Password1", 0, 32802, 26142, 1, &document_));
    EXPECT_EQ(document_.size(), 12u);
    EXPECT_TRUE(Calls().Log().empty());
}

TEST_F(MacDataTest, AHashWithoutOidIsABadAlgorithm) {
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, Add(0x8003));
    ExpectNothingOpen();
}

TEST_F(MacDataTest, AnOidOfTheHashThatIsNoneIsABadAlgorithm) {
    static CRYPT_OID_INFO row{};
    Calls().ReplaceAlgorithmInfo([](ALG_ID, DWORD) -> PCCRYPT_OID_INFO { return &row; });
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, Add());
    row.pszOID = "no identifier";
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, Add());
}

TEST_F(MacDataTest, TheHeaderIsFourNodesBehindTheDocument) {
    EXPECT_EQ(AddMacDataHeader(32798, &document_), 1);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(document_.size(), 16u);
    EXPECT_EQ(outline::FlattenToHex(document_).substr(3 * 43),
              "30 0C 30 0A 30 08 06 06 2A 85 03 02 02 09");
}

TEST_F(MacDataTest, TheHeaderAsksForTheHashInItsGroup) {
    static CRYPT_OID_INFO row{};
    row.pszOID = "1.2.3";
    Calls().ReplaceAlgorithmInfo([](ALG_ID algorithm, DWORD group) {
        return algorithm == 0x8004 && group == CRYPT_HASH_ALG_OID_GROUP_ID ? &row : nullptr;
    });
    EXPECT_EQ(AddMacDataHeader(0x8004, &document_), 1);
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, AddMacDataHeader(0x8003, &document_));
}

TEST_F(MacDataTest, APasswordThatIsEmptyOrTooLongIsInvalid) {
    for (const std::string& password : {std::string(), std::string(33, 'p')}) {
        DerList document = document_;
        EXPECT_FAILS_WITH(ERROR_INVALID_PASSWORD, AddPfxMacData(password.c_str(), context_.Get(),
                                                                32802, 26142, 3, &document));
    }
    ExpectNothingOpen();
}

TEST_F(MacDataTest, TheProviderIsAskedForTheHashBetweenSeedTestAndSalt) {
    Calls().FailNamed("CryptCreateHash", 1, kInjected);
    EXPECT_FAILS_WITH(kInjected, Add());
    const int afterFailure = std::rand();
    std::srand(kSeed);
    std::rand();
    EXPECT_EQ(afterFailure, std::rand());
    EXPECT_EQ(Calls().Count("CryptGenKey"), 0);
}

TEST_F(MacDataTest, TheHashsSizeIsAskedForBeforeAnythingIsDerived) {
    Calls().FailNamed("CryptGetHashParam", 1, kInjected);
    EXPECT_FAILS_WITH(kInjected, Add());
    EXPECT_EQ(Calls().Count("CryptCreateHash"), 1);
    ExpectNothingOpen();
}

TEST_F(MacDataTest, EveryFailingCallIsAnErrorAndClosesAll) {
    for (const bool stay : {false, true}) {
        for (int n = 1;; ++n) {
            BuildPfxSkeleton(&document_);
            Calls().Reset();
            Calls().FailFrom(n, stay, kInjected);
            const int answer = Add();
            const DWORD error = GetLastError();
            if (!Calls().Failed()) {
                EXPECT_EQ(answer, 1);
                EXPECT_GT(n, 30);
                break;
            }
            const std::string name = Calls().Log()[static_cast<std::size_t>(n) - 1];
            DWORD expected = kInjected;
            if (name == "CryptFindOIDInfo") {
                expected = static_cast<DWORD>(NTE_BAD_ALGID);
            } else if (name == "HeapAlloc" || name.ends_with("Char") || name.ends_with("Byte")) {
                expected = ERROR_INVALID_PASSWORD;
            }
            EXPECT_EQ(answer, 0) << n << " " << name;
            EXPECT_EQ(error, expected) << n << " " << name;
            ExpectNothingOpen();
        }
    }
}

TEST_F(MacDataTest, AListWithoutANodeToCoverIsBadData) {
    document_ = outline::Parse("30 03 02 01 05");
    EXPECT_FAILS_WITH(NTE_BAD_DATA, Add());
    ExpectNothingOpen();
}

}  // namespace
