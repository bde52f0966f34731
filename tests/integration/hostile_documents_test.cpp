// Documents from an enemy: cut short, bent, or made to claim what they have not.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/pfx_builder.h"

namespace {

using test_support::Bytes;
using test_support::FromHex;
using test_support::NestedSequences;
using test_support::PfxBuilder;

constexpr DWORD kBadData = static_cast<DWORD>(NTE_BAD_DATA);

struct Verdict {
    BOOL fits;
    DWORD error;
};

Verdict Verify(Bytes document, const std::wstring& password) {
    const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    SetLastError(0);
    const BOOL fits = UzVerifyPswPFX(&pfx, password.c_str());
    return {fits, GetLastError()};
}

void ExpectError(const Bytes& document, DWORD error) {
    const Verdict verdict = Verify(document, L"Password1");
    EXPECT_EQ(verdict.fits, FALSE);
    EXPECT_EQ(verdict.error, error) << std::hex << verdict.error;
}

bool IsReason(DWORD error) {
    static const std::set<DWORD> reasons = {kBadData, static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD),
                                            static_cast<DWORD>(CRYPT_E_NOT_FOUND)};
    return reasons.contains(error);
}

Bytes ReadPeerDocument(const std::string& name) {
    std::ifstream file(std::string(MVLPFX_TEST_DATA) + "/peers/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Bits of one byte that neither the MAC covers nor the reader looks at.
struct FreeBits {
    std::size_t offset;
    unsigned mask;
    const char* reason;
};

struct Peer {
    std::string name;  // of the test
    std::string file;
    std::wstring password;
    std::vector<FreeBits> freeInMacData;
};

// Before the AuthenticatedSafe the documents of both peers have one shape.
const std::vector<FreeBits> kFreeBeforeAuthSafe = {
    {0, 0xDF, "PFX: an identifier with 0x20 in it opens, whatever the rest of it"},
    {1, 0x80, "PFX: the first element takes in all that follows, whatever length it claims"},
    {4, 0x9D, "version: any identifier that an opened value may hold does"},
    {6, 0xFF, "version: not looked at"},
    {7, 0x01, "ContentInfo: a SET does"},
    {11, 0x96, "content type: any identifier that an opened value may hold does"},
    {13, 0xFF, "content type: not looked at"},
    {14, 0xFF, "content type: not looked at"},
    {15, 0xFF, "content type: not looked at"},
    {16, 0xFF, "content type: not looked at"},
    {17, 0xFF, "content type: not looked at"},
    {18, 0xFF, "content type: not looked at"},
    {19, 0xFF, "content type: not looked at"},
    {20, 0xFF, "content type: not looked at"},
    {21, 0xFF, "content type: not looked at"},
    {22, 0x2F, "content: any context number does, constructed or not"},
    {26, 0x80, "OCTET STRING: a context value opens as well"},
};
constexpr char kMacDataSet[] = "MacData: a SET does";
constexpr char kDigestInfoSet[] = "DigestInfo: a SET does";
constexpr char kAlgorithmSet[] = "digest algorithm: a SET does";
constexpr char kParametersLeaf[] = "parameters: any identifier that an opened value may hold does";
constexpr char kParametersOut[] =
    "digest algorithm, two bytes shorter: its parameters are the next field of DigestInfo";

// GnuTLS derives with 600,000 iterations, which nobody waits for ten thousand times: its document
// with the MacData that it would write for three.
Bytes WithCheapMac(const Bytes& document, const std::string& password) {
    constexpr std::size_t kAuthSafe = 30;  // behind the header of the OCTET STRING at 26
    const std::size_t size = document.at(28) * 0x100U + document.at(29);
    PfxBuilder builder;
    builder.authSafe.assign(document.begin() + kAuthSafe,
                            document.begin() + static_cast<std::ptrdiff_t>(kAuthSafe + size));
    builder.hashAlgorithm = 0x8022;
    builder.digestOid.back() = 0x03;
    builder.withParameters = false;
    builder.password = password;
    return builder.Build();
}

class PeerDocument : public ::testing::TestWithParam<Peer> {
  protected:
    void SetUp() override {
        document_ = ReadPeerDocument(GetParam().file);
        if (GetParam().name == "GnuTls") {
            document_ = WithCheapMac(document_, "Пароль ГнуТЛС");
        }
        ASSERT_EQ(Verify(document_, GetParam().password).fits, TRUE);
    }
    Bytes document_;
};

TEST_P(PeerDocument, CutShortAnywhereIsRefused) {
    for (std::size_t size = 0; size < document_.size(); ++size) {
        const Verdict verdict =
            Verify(Bytes(document_.begin(), document_.begin() + static_cast<std::ptrdiff_t>(size)),
                   GetParam().password);
        EXPECT_EQ(verdict.fits, FALSE) << size;
        EXPECT_TRUE(IsReason(verdict.error)) << size << " " << std::hex << verdict.error;
    }
}

TEST_P(PeerDocument, EveryBitCountsButThoseThatNobodyLooksAt) {
    std::map<std::size_t, unsigned> expected;
    for (const auto* part : {&kFreeBeforeAuthSafe, &GetParam().freeInMacData}) {
        for (const FreeBits& bits : *part) {
            expected[bits.offset] = bits.mask;
        }
    }
    std::map<std::size_t, unsigned> found;
    for (std::size_t offset = 0; offset < document_.size(); ++offset) {
        for (unsigned bit = 1; bit < 0x100; bit <<= 1) {
            Bytes bent = document_;
            bent[offset] = static_cast<std::uint8_t>(bent[offset] ^ bit);
            const Verdict verdict = Verify(bent, GetParam().password);
            if (verdict.fits) {
                found[offset] |= bit;
            } else {
                EXPECT_TRUE(IsReason(verdict.error)) << offset << " " << std::hex << verdict.error;
            }
        }
    }
    EXPECT_EQ(found, expected);
}

INSTANTIATE_TEST_SUITE_P(Peers, PeerDocument,
                         ::testing::Values(Peer{"Gost2001",
                                                "openssl-three-2001.pfx",
                                                L"three",
                                                {{793, 0x01, kMacDataSet},
                                                 {795, 0x01, kDigestInfoSet},
                                                 {797, 0x01, kAlgorithmSet},
                                                 {798, 0x02, kParametersOut},
                                                 {807, 0x85, kParametersLeaf}}},
                                           Peer{"Gost2012_256",
                                                "openssl-three-2012-256.pfx",
                                                L"трижды",
                                                {{811, 0x01, kMacDataSet},
                                                 {813, 0x01, kDigestInfoSet},
                                                 {815, 0x01, kAlgorithmSet},
                                                 {827, 0x85, kParametersLeaf}}},
                                           Peer{"Gost2012_512",
                                                "openssl-three-2012-512.pfx",
                                                L"three times",
                                                {{984, 0x01, kMacDataSet},
                                                 {986, 0x01, kDigestInfoSet},
                                                 {988, 0x01, kAlgorithmSet},
                                                 {1000, 0x85, kParametersLeaf}}},
                                           Peer{"GnuTls",
                                                "gnutls-2012-256.pfx",
                                                L"Пароль ГнуТЛС",
                                                {{914, 0x01, kMacDataSet},
                                                 {916, 0x01, kDigestInfoSet},
                                                 {918, 0x01, kAlgorithmSet}}}),
                         [](const auto& peer) { return peer.param.name; });

TEST(HostileDocument, LengthsOfFourGigabytesInTwentyBytes) {
    ExpectError(FromHex("30 84 FF FF FF FF 02 01 03 30 84 FF FF FF F0 06 03 2A 03 04"), kBadData);
    ExpectError(FromHex("04 84 FF FF FF FB 04 84 FF FF FF F5 04 84 FF FF FF EF 02 01"), kBadData);
    ExpectError(FromHex("30 80 30 84 FF FF FF FF 30 80 04 84 80 00 00 00 30 80 02 01"), kBadData);
}

constexpr std::size_t kDeep = 100'000;

TEST(HostileDocument, IndefiniteLengthsNestedAHundredThousandDeep) {
    Bytes nested;
    for (std::size_t level = 0; level < kDeep; ++level) {
        nested.insert(nested.end(), {0x30, 0x80});
    }
    ExpectError(nested, kBadData);
}

TEST(HostileDocument, ARightMacOverAHundredThousandLevelsFits) {
    PfxBuilder builder;
    builder.content = NestedSequences(kDeep);
    const Verdict verdict = Verify(builder.Build(), L"Password1");
    EXPECT_EQ(verdict.fits, TRUE) << std::hex << verdict.error;
}

}  // namespace
