// A process that is killed anywhere while it writes a system store leaves whole entries, or none.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "support/certificates.h"
#include "support/container_home.h"
#include "support/kill_at_syscall.h"

namespace {

using test_support::Certificate;
using test_support::CertificateBytes;
using test_support::Chain;
using test_support::ContainerHome;
using test_support::KillAtEverySyscall;
using test_support::OpenStore;

bool SetName(PCCERT_CONTEXT context, std::string name) {
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(name.size()), reinterpret_cast<BYTE*>(name.data())};
    return CertSetCertificateContextProperty(context, CERT_FRIENDLY_NAME_PROP_ID, 0, &blob);
}

// The store's certificates, "leaf" before "root", each with its name.
std::string Look() {
    const OpenStore store(L"MY");
    std::set<std::string> entries;
    PCCERT_CONTEXT at = nullptr;
    SetLastError(0);
    while ((at = CertEnumCertificatesInStore(store.Get(), at)) != nullptr) {
        const CertificateBytes bytes(at->pbCertEncoded, at->pbCertEncoded + at->cbCertEncoded);
        EXPECT_TRUE(bytes == Chain().leaf || bytes == Chain().root);
        std::string name(64, '\0');
        DWORD size = 64;
        const BOOL has =
            CertGetCertificateContextProperty(at, CERT_FRIENDLY_NAME_PROP_ID, name.data(), &size);
        EXPECT_TRUE(entries
                        .insert((bytes == Chain().leaf ? "leaf:" : "root:") +
                                (has ? name.substr(0, size) : "") + " ")
                        .second);
    }
    // A damaged entry would have been passed over with another word.
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
    std::string seen;
    for (const std::string& entry : entries) {
        seen += entry;
    }
    return seen;
}

class StoreKilled : public testing::Test {
  protected:
    // Read here, so that no child process reads them.
    void SetUp() override { Chain(); }

    void KillIn(const std::function<bool()>& prepare, const std::function<bool()>& change,
                const std::set<std::string>& allowed) {
        std::set<std::string> seen;
        const int killed = KillAtEverySyscall(
            [&] {
                home_.reset();
                home_ = std::make_unique<ContainerHome>();
                ASSERT_TRUE(prepare());
            },
            [&] { return change() ? 0 : 1; },
            [&] {
                seen.insert(Look());
                ExpectNextWriterCleansUp();
            });
        SKIP_WHERE_NOTHING_IS_TRACED(killed);
        EXPECT_EQ(seen, allowed);
    }

  private:
    void ExpectNextWriterCleansUp() const {
        const OpenStore store(L"MY");
        EXPECT_TRUE(store.Add(Chain().root, CERT_STORE_ADD_REPLACE_EXISTING));
        EXPECT_TRUE(store.Add(Chain().leaf, CERT_STORE_ADD_REPLACE_EXISTING));
        std::size_t files = 0;
        for (const auto& file :
             std::filesystem::directory_iterator(home_->User() / "stores" / "MY")) {
            files += file.path().filename() == ".lock" ? 0 : 1;
        }
        EXPECT_EQ(files, 2U);
    }

    std::unique_ptr<ContainerHome> home_;
};

TEST_F(StoreKilled, InAnAdditionHasTheCertificateOrNot) {
    KillIn([] { return true; }, [] { return OpenStore(L"MY").Add(Chain().leaf) != FALSE; },
           {"", "leaf: "});
}

TEST_F(StoreKilled, InAnAdditionKeepsWhatItHad) {
    KillIn([] { return OpenStore(L"MY").Add(Chain().root) != FALSE; },
           [] { return OpenStore(L"MY").Add(Chain().leaf) != FALSE; }, {"root: ", "leaf: root: "});
}

TEST_F(StoreKilled, InAChangeOfAPropertyHasTheOldOrTheNew) {
    const auto name = [](const char* text) {
        const OpenStore store(L"MY");
        return SetName(Certificate(store.First()).Get(), text);
    };
    KillIn([&] { return OpenStore(L"MY").Add(Chain().leaf) && name("old"); },
           [&] { return name("new"); }, {"leaf:old ", "leaf:new "});
}

TEST_F(StoreKilled, InADeletionHasTheCertificateOrNot) {
    KillIn(
        [] {
            const OpenStore store(L"MY");
            return store.Add(Chain().leaf) && store.Add(Chain().root);
        },
        [] {
            const OpenStore store(L"MY");
            PCCERT_CONTEXT at = nullptr;
            while ((at = CertEnumCertificatesInStore(store.Get(), at)) != nullptr) {
                const CertificateBytes bytes(at->pbCertEncoded,
                                             at->pbCertEncoded + at->cbCertEncoded);
                if (bytes == Chain().leaf) {
                    return CertDeleteCertificateFromStore(at) != FALSE;
                }
            }
            return false;
        },
        {"leaf: root: ", "root: "});
}

}  // namespace
