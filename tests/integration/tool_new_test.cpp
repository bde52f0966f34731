// What `new` does about certificates that no document could hold.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "derlist/round_trip.h"
#include "mvlpfx/commands.h"
#include "mvlpfx/error_words.h"
#include "support/certificates.h"
#include "support/container_home.h"
#include "support/platform_stand_in.h"

namespace {

struct Draws {
    int made = 0;   // but for those that were unfit by chance
    int unfit = 0;  // as many from the first on
};

Draws& AllDraws() {
    static Draws draws;
    return draws;
}

bool IsFit(PCCERT_CONTEXT certificate) {
    return pkisdk::ComesOutUnchanged({certificate->pbCertEncoded, certificate->cbCertEncoded});
}

// The certificate with elements of a length that is not the shortest for a signature.
PCCERT_CONTEXT WithUnfitSignature(const test_support::Certificate& certificate) {
    constexpr std::array<BYTE, 4> kElement{0x04, 0x81, 0x01, 0x51};
    constexpr std::size_t kSignatureSize = 64;
    test_support::CertificateBytes encoded(certificate->pbCertEncoded,
                                           certificate->pbCertEncoded + certificate->cbCertEncoded);
    for (std::size_t i = 0; i < kSignatureSize; ++i) {
        encoded[encoded.size() - kSignatureSize + i] = kElement[i % kElement.size()];
    }
    test_support::Certificate unfit(encoded);
    std::array<BYTE, 1024> record{};
    DWORD size = record.size();
    if (!CertGetCertificateContextProperty(certificate.Get(), CERT_KEY_PROV_INFO_PROP_ID,
                                           record.data(), &size) ||
        !CertSetCertificateContextProperty(unfit.Get(), CERT_KEY_PROV_INFO_PROP_ID, 0,
                                           record.data())) {
        return nullptr;
    }
    return unfit.Leave();
}

}  // namespace

PCCERT_CONTEXT WINAPI STAND_IN(CertCreateSelfSignCertificate)(
    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE provider, PCERT_NAME_BLOB name, DWORD flags,
    PCRYPT_KEY_PROV_INFO info, PCRYPT_ALGORITHM_IDENTIFIER algorithm, PSYSTEMTIME start,
    PSYSTEMTIME end, PCERT_EXTENSIONS extensions) {
    PCCERT_CONTEXT const certificate = REAL(CertCreateSelfSignCertificate)(
        provider, name, flags, info, algorithm, start, end, extensions);
    Draws& draws = AllDraws();
    if (draws.made < draws.unfit) {
        ++draws.made;
        return WithUnfitSignature(test_support::Certificate(certificate));
    }
    draws.made += IsFit(certificate) ? 1 : 0;
    return certificate;
}

namespace {

class NewKey : public testing::Test {
  protected:
    void Make(int unfit) {
        AllDraws() = {0, unfit};
        mvlpfx::NewOptions options;
        options.subject = "CN=x";
        options.common.quiet = true;
        RunNew(options);
    }

    test_support::ContainerHome home_;
};

TEST_F(NewKey, IsDrawnOnceWhereItsCertificateFitsADocument) {
    Make(0);
    EXPECT_EQ(AllDraws().made, 1);
}

TEST_F(NewKey, IsDrawnAgainWhereItsCertificateFitsNoDocument) {
    Make(2);
    EXPECT_EQ(AllDraws().made, 3);
    const test_support::OpenStore my(L"MY");
    const auto certificates = my.All();
    ASSERT_EQ(certificates.size(), 1u);
    EXPECT_TRUE(pkisdk::ComesOutUnchanged(certificates[0]));
    EXPECT_EQ(home_.FilesOfUser().size(), 1u);
}

TEST_F(NewKey, BelongsToTheCertificateOfTheLastDraw) {
    Make(1);
    const test_support::OpenStore my(L"MY");
    const test_support::Certificate certificate(my.First());
    HCRYPTPROV provider = 0;
    DWORD keySpec = 0;
    BOOL isToRelease = FALSE;
    ASSERT_TRUE(CryptAcquireCertificatePrivateKey(certificate.Get(), CRYPT_ACQUIRE_COMPARE_KEY_FLAG,
                                                  nullptr, &provider, &keySpec, &isToRelease));
    EXPECT_TRUE(isToRelease);
    CryptReleaseContext(provider, 0);
}

TEST_F(NewKey, IsKeptWhereNoDrawFits) {
    Make(1000);
    EXPECT_EQ(AllDraws().made, 8);
    const auto certificates = test_support::OpenStore(L"MY").All();
    ASSERT_EQ(certificates.size(), 1u);
    EXPECT_FALSE(pkisdk::ComesOutUnchanged(certificates[0]));
    EXPECT_EQ(home_.FilesOfUser().size(), 1u);
}

}  // namespace
