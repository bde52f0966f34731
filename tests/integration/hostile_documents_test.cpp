// Documents from an enemy: cut short, bent, or made to claim what they have not.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>

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

struct Peer {
    std::string name;  // of the test
    std::string file;
    std::wstring password;
};

class PeerDocument : public ::testing::TestWithParam<Peer> {
  protected:
    void SetUp() override {
        document_ = ReadPeerDocument(GetParam().file);
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

INSTANTIATE_TEST_SUITE_P(
    OpenSSL, PeerDocument,
    ::testing::Values(Peer{"Gost2001", "openssl-three-2001.pfx", L"three"},
                      Peer{"Gost2012_256", "openssl-three-2012-256.pfx", L"трижды"},
                      Peer{"Gost2012_512", "openssl-three-2012-512.pfx", L"three times"}),
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
