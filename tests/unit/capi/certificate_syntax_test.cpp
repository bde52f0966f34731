// Certificates as capi reads them against libcrypto's own reading of the same bytes.
#include "capi/certificate_syntax.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <string>
#include <vector>

#include "support/certificates.h"
#include "support/document_generator.h"

namespace {

using test_support::CertificateBytes;

bool IsCertificateByPeer(const CertificateBytes& bytes) {
    const unsigned char* at = bytes.data();
    X509* const certificate = d2i_X509(nullptr, &at, static_cast<long>(bytes.size()));
    ERR_clear_error();
    X509_free(certificate);
    return certificate != nullptr && at == bytes.data() + bytes.size();
}

std::vector<CertificateBytes> GoodCertificates() {
    std::vector<CertificateBytes> all = test_support::GostCertificates();
    const test_support::TestChain& chain = test_support::Chain();
    all.insert(all.end(), {chain.root, chain.issuer, chain.leaf, chain.otherLeaf});
    return all;
}

TEST(CertificateSyntax, TakesGoodCertificatesWhole) {
    for (const CertificateBytes& good : GoodCertificates()) {
        EXPECT_TRUE(IsCertificateByPeer(good));
        const capi::CertificateSyntaxPointer certificate = capi::DecodeCertificate(good);
        ASSERT_NE(certificate, nullptr);
        EXPECT_GT(X509_NAME_entry_count(certificate->body->issuer), 0);
        CertificateBytes longer = good;
        longer.push_back(0);
        EXPECT_EQ(capi::DecodeCertificate(longer), nullptr);
    }
    EXPECT_EQ(capi::DecodeCertificate({}), nullptr);
}

TEST(CertificateSyntax, TakesAndRefusesWhatLibcryptoDoes) {
    differential::Random random = differential::MakeRandom();
    const std::vector<CertificateBytes> good = GoodCertificates();
    std::uint64_t taken = 0;
    const std::uint64_t runs = differential::Runs(20'000);
    for (std::uint64_t run = 0; run < runs; ++run) {
        const auto& certificate =
            good[differential::Below(random, static_cast<std::uint32_t>(good.size()))];
        const CertificateBytes bytes = documents::Mutate(random, certificate);
        const bool isTaken = capi::DecodeCertificate(bytes) != nullptr;
        ASSERT_EQ(isTaken, IsCertificateByPeer(bytes)) << testing::PrintToString(bytes);
        taken += isTaken ? 1 : 0;
    }
    // Of either kind there are many.
    EXPECT_GT(taken, runs / 20);
    EXPECT_LT(taken, runs - runs / 20);
}

// Every octet in turn becomes each of a few that headers and string types are made of.
TEST(CertificateSyntax, TakesAndRefusesWhatLibcryptoDoesAtEveryOctet) {
    constexpr BYTE kOctets[] = {0x00, 0x02, 0x05, 0x0C, 0x1E, 0x30, 0x80, 0x81, 0xA3, 0xFF};
    for (const CertificateBytes& good : GoodCertificates()) {
        for (std::size_t at = 0; at < good.size(); ++at) {
            for (const BYTE octet : kOctets) {
                CertificateBytes bytes = good;
                bytes[at] = octet;
                ASSERT_EQ(capi::DecodeCertificate(bytes) != nullptr, IsCertificateByPeer(bytes))
                    << at << ' ' << int{octet};
            }
        }
    }
}

}  // namespace
