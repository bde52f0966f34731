// Certificates as capi reads them against libcrypto's own reading of the same bytes.
#include "capi/certificate_syntax.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <algorithm>
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
        EXPECT_GT(sk_RelativeName_num(certificate->body->issuer), 0);
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

// The common name of a certificate of OpenSSL's, which is a UTF8String, as each other type of text
// and with each octet of characters that are cut short or lie outside of what the type has.
TEST(CertificateSyntax, TakesAndRefusesTheTextsOfNamesThatLibcryptoDoes) {
    constexpr BYTE kTypes[] = {0x0C, 0x12, 0x13, 0x14, 0x16, 0x1A, 0x1C, 0x1E};
    using namespace std::string_literals;
    const std::string texts[] = {"name"s,         "nam\xD0"s,          "\xC0\x80me"s,
                                 "\xD0\xB8me"s,   "\xD8\x01\xD8\x01"s, "\x00\x11\x00\x01"s,
                                 "\xED\xA0\x80 "s};
    const std::string place = "\x06\x03\x55\x04\x03\x0C\x04Root";
    const CertificateBytes& good = test_support::Chain().root;
    const auto found = std::search(good.begin(), good.end(), place.begin(), place.end());
    ASSERT_NE(found, good.end());
    unsigned refused = 0;
    for (const BYTE type : kTypes) {
        for (const std::string& text : texts) {
            CertificateBytes bytes = good;
            const auto at = bytes.begin() + (found - good.begin()) + 5;
            *at = type;
            std::copy(text.begin(), text.end(), at + 2);
            const bool isTaken = capi::DecodeCertificate(bytes) != nullptr;
            EXPECT_EQ(isTaken, IsCertificateByPeer(bytes)) << int{type} << ' ' << text;
            refused += isTaken ? 0 : 1;
        }
    }
    EXPECT_GT(refused, 0u);
}

}  // namespace
