// Certificates that record their container by its plain name, as other programs tie them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mvlpfx/certificate_choice.h"
#include "mvlpfx/certificate_walk.h"
#include "support/container_home.h"

namespace {

using mvlpfx::OwnedStore;

void MakeKey(const std::string& subject, bool machine) {
    mvlpfx::NewOptions options;
    options.common.quiet = true;
    options.subject = subject;
    options.container = "box";
    options.machine = machine;
    mvlpfx::RunNew(options);
}

// Ties the certificates of a store to the container of that name.
void TieByName(HCERTSTORE store, DWORD flags) {
    std::wstring container = L"box";
    std::wstring provider = mvlpfx::ToWide(mvlpfx::kProviderName);
    CRYPT_KEY_PROV_INFO info{};
    info.pwszContainerName = container.data();
    info.pwszProvName = provider.data();
    info.dwProvType = mvlpfx::kProviderType;
    info.dwFlags = flags;
    info.dwKeySpec = AT_SIGNATURE;
    mvlpfx::ForEachCertificate(store, "MY", [&](PCCERT_CONTEXT certificate) {
        EXPECT_TRUE(
            CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
    });
}

std::vector<std::string> SubjectsOfBox(bool machine) {
    mvlpfx::CreateOptions options;
    options.containers = {"box"};
    options.machine = machine;
    const OwnedStore gathered = mvlpfx::GatherCertificates(options);
    std::vector<std::string> subjects;
    mvlpfx::ForEachCertificate(gathered.Get(), "memory", [&](PCCERT_CONTEXT certificate) {
        subjects.push_back(mvlpfx::SubjectText(certificate));
    });
    return subjects;
}

class CertificateChoice : public testing::Test {
  protected:
    void SetUp() override {
        MakeKey("CN=users", false);
        MakeKey("CN=machines", true);
    }

  private:
    test_support::ContainerHome home_;
};

TEST_F(CertificateChoice, FindsAContainerByItsPlainName) {
    TieByName(mvlpfx::OpenSystemStore("MY", false).Get(), 0);
    TieByName(mvlpfx::OpenSystemStore("MY", true).Get(), CRYPT_MACHINE_KEYSET);
    EXPECT_EQ(SubjectsOfBox(false), std::vector<std::string>{"CN=users"});
    EXPECT_EQ(SubjectsOfBox(true), std::vector<std::string>{"CN=machines"});
}

// The user's container has the certificate that lies beside its key still.
TEST_F(CertificateChoice, TakesNoCertificateOfTheMachinesContainerForOneOfTheUsersOfThatName) {
    const OwnedStore my = mvlpfx::OpenSystemStore("MY", false);
    const OwnedStore machines = mvlpfx::OpenSystemStore("MY", true);
    mvlpfx::ForEachCertificate(machines.Get(), "MY", [&](PCCERT_CONTEXT certificate) {
        mvlpfx::AddTo(my.Get(), certificate);
    });
    TieByName(my.Get(), CRYPT_MACHINE_KEYSET);
    EXPECT_EQ(SubjectsOfBox(false), std::vector<std::string>{"CN=users"});
}

TEST_F(CertificateChoice, TakesNoCertificateOfTheUsersContainerForOneOfTheMachinesOfThatName) {
    const OwnedStore my = mvlpfx::OpenSystemStore("MY", false);
    const OwnedStore machines = mvlpfx::OpenSystemStore("MY", true);
    mvlpfx::ForEachCertificate(my.Get(), "MY", [&](PCCERT_CONTEXT certificate) {
        mvlpfx::AddTo(machines.Get(), certificate);
    });
    TieByName(machines.Get(), 0);
    EXPECT_EQ(SubjectsOfBox(true), std::vector<std::string>{"CN=machines"});
}

}  // namespace
