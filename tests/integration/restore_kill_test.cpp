// A process that is killed anywhere in a restore leaves containers that open, empty or with their
// whole key, and whole entries of system stores or none; and the next restore works.
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/certificates.h"
#include "support/container_home.h"
#include "support/containers_in_csp.h"
#include "support/kill_at_syscall.h"
#include "support/safe_bags.h"
#include "support/store_content.h"

namespace {

using test_support::Bytes;
using test_support::ContainerHome;
using test_support::OpenStore;

constexpr std::size_t kKeys = 2;

// Two leaves with keys under one issuer and one root.
Bytes MakeDocument() {
    test_support::Encryption cheap;
    cheap.iterations = 1;
    std::vector<Bytes> keys;
    std::vector<Bytes> certificates;
    for (std::uint8_t number = 1; number <= kKeys; ++number) {
        const Bytes id = test_support::LocalKeyId({number, 0, 0, 0});
        test_support::KeyBag key;
        key.encryption = cheap;
        key.privateKey = test_support::PrivateKey(number);
        key.attributes = {id};
        if (number == 1) {
            key.attributes.push_back(test_support::FriendlyName(u"Имя"));
        }
        keys.push_back(key.Build());
        certificates.push_back(test_support::CertificateBag{
            test_support::MakeCertificate("leaf", "ca", number),
            {id}}.Build());
    }
    for (const Bytes& above : {test_support::MakeCertificate("ca", "root", 3),
                               test_support::MakeCertificate("root", "root", 4)}) {
        certificates.push_back(test_support::CertificateBag{above, {}}.Build());
    }
    test_support::PfxBuilder builder;
    builder.iterations = 1;
    builder.iterationOctets = {1};
    builder.authSafe = test_support::Element(
        0x30, test_support::Join({test_support::EncryptedContentInfo(certificates, cheap),
                                  test_support::PlainContentInfo(keys)}));
    return builder.Build();
}

// How many certificates a system store has; each has to be whole, and the key whole that it names.
std::size_t CountStore(const wchar_t* name, bool isTied) {
    const OpenStore store(name);
    std::size_t count = 0;
    PCCERT_CONTEXT at = nullptr;
    while ((at = CertEnumCertificatesInStore(store.Get(), at)) != nullptr) {
        EXPECT_EQ(test_support::PrivateKeyOf(at).has_value(), isTied);
        ++count;
    }
    // A damaged entry would have been passed over with another word.
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
    return count;
}

std::string Look(std::size_t* containers) {
    const test_support::ContainerCount count = test_support::CountContainers();
    EXPECT_EQ(count.broken, 0U);
    *containers = count.withKey + count.empty;
    return std::to_string(count.withKey) + " keys, " + std::to_string(count.empty) + " empty, " +
           std::to_string(CountStore(L"MY", true)) + " MY, " +
           std::to_string(CountStore(L"CA", false)) + " CA, " +
           std::to_string(CountStore(L"ROOT", false)) + " ROOT";
}

class RestoreKilled : public testing::Test {
  protected:
    using Function = HCERTSTORE (*)(const PfxBlob*, LPCWSTR, DWORD);

    // What was seen after one kill or another.
    std::set<std::string> KillIn(Function restore) {
        std::set<std::string> seen;
        killed_ = test_support::KillAtEverySyscall(
            [&] {
                // The old home's variables go before the new one's come.
                home_.reset();
                home_ = std::make_unique<ContainerHome>();
            },
            [&] { return Restore(restore) != nullptr ? 0 : 1; },
            [&] {
                std::size_t containers = 0;
                seen.insert(Look(&containers));
                ExpectNextRestoreWorks(restore, containers);
            });
        return seen;
    }

    int killed_ = 0;

  private:
    HCERTSTORE Restore(Function restore) {
        const PfxBlob pfx{static_cast<DWORD>(document_.size()), document_.data()};
        return restore(&pfx, L"Password1", CRYPT_EXPORTABLE);
    }
    // With containers beside those that are there, and nothing unfinished left.
    void ExpectNextRestoreWorks(Function restore, std::size_t before) {
        const OpenStore store(Restore(restore));
        EXPECT_NE(store.Get(), nullptr) << std::hex << GetLastError();
        EXPECT_EQ(GetLastError(), 0U);
        std::size_t tied = 0;
        for (const auto& [certificate, key] : test_support::ReadStore(store.Get())) {
            tied += key ? 1 : 0;
        }
        EXPECT_EQ(tied, kKeys);
        EXPECT_EQ(home_->FilesOfUser().size(), before + kKeys);
    }

    Bytes document_ = MakeDocument();
    std::unique_ptr<ContainerHome> home_;
};

TEST_F(RestoreKilled, LeavesContainersEmptyOrWithTheirKey) {
    const std::set<std::string> seen = KillIn(UzRestorePFX);
    SKIP_WHERE_NOTHING_IS_TRACED(killed_);
    EXPECT_EQ(seen, (std::set<std::string>{
                        "0 keys, 0 empty, 0 MY, 0 CA, 0 ROOT",
                        "0 keys, 1 empty, 0 MY, 0 CA, 0 ROOT",
                        "1 keys, 0 empty, 0 MY, 0 CA, 0 ROOT",
                        "1 keys, 1 empty, 0 MY, 0 CA, 0 ROOT",
                        "2 keys, 0 empty, 0 MY, 0 CA, 0 ROOT",
                    }));
}

// Each certificate in its turn, once all keys are in their containers.
TEST_F(RestoreKilled, LeavesWholeEntriesOfSystemStores) {
    const std::set<std::string> seen = KillIn(UzRestorePFXToSystemStorage);
    SKIP_WHERE_NOTHING_IS_TRACED(killed_);
    EXPECT_EQ(seen, (std::set<std::string>{
                        "0 keys, 0 empty, 0 MY, 0 CA, 0 ROOT",
                        "0 keys, 1 empty, 0 MY, 0 CA, 0 ROOT",
                        "1 keys, 0 empty, 0 MY, 0 CA, 0 ROOT",
                        "1 keys, 1 empty, 0 MY, 0 CA, 0 ROOT",
                        "2 keys, 0 empty, 0 MY, 0 CA, 0 ROOT",
                        "2 keys, 0 empty, 1 MY, 0 CA, 0 ROOT",
                        "2 keys, 0 empty, 1 MY, 1 CA, 0 ROOT",
                        "2 keys, 0 empty, 1 MY, 1 CA, 1 ROOT",
                        "2 keys, 0 empty, 2 MY, 1 CA, 1 ROOT",
                    }));
}

}  // namespace
