// A process that is killed anywhere leaves each container whole, or as it was.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "provider/container_store.h"
#include "support/container_home.h"
#include "support/key_context.h"
#include "support/kill_at_syscall.h"

namespace {

using provider::Container;
using provider::ContainerScope;
using provider::KeyRecord;
using provider::SecretBytes;
using test_support::ContainerHome;
using test_support::KeyContext;
using test_support::KillAtEverySyscall;

std::span<const BYTE> OctetsOf(std::string_view text) {
    return {reinterpret_cast<const BYTE*>(text.data()), text.size()};
}

KeyRecord RecordOf(std::string_view publicKey) {
    return {0x2E49, 7, {publicKey.begin(), publicKey.end()}, {}};
}

class ContainersKilled : public testing::Test {
  protected:
    static std::shared_ptr<Container> Create() {
        std::shared_ptr<Container> made;
        EXPECT_EQ(provider::CreateContainer(ContainerScope::kUser, "mine", true, &made), S_OK);
        return made;
    }
    // Null where there is none; a damaged one fails the test.
    static std::shared_ptr<Container> Open() {
        std::shared_ptr<Container> opened;
        const HRESULT status =
            provider::OpenContainer(ContainerScope::kUser, "mine", true, &opened);
        EXPECT_TRUE(status == S_OK || status == NTE_BAD_KEYSET) << std::hex << status;
        return opened;
    }
    static int Answer(HRESULT status) { return status == S_OK ? 0 : 1; }

    // The public and the private key, which belong together.
    static std::string KeyOf(const Container& container, DWORD keySpec) {
        KeyRecord record;
        SecretBytes secret;
        const HRESULT status = container.ReadKey(keySpec, &record);
        if (status == NTE_NO_KEY) {
            return "none";
        }
        EXPECT_EQ(status, S_OK);
        EXPECT_EQ(container.ReadPrivateKey(keySpec, &secret), S_OK);
        EXPECT_TRUE(std::ranges::equal(record.publicKey, secret.View()));
        return {record.publicKey.begin(), record.publicKey.end()};
    }
    // The next writer works, and nothing but the container is left after it.
    void ExpectNextWriterCleansUp(Container& container) const {
        EXPECT_EQ(container.WriteKey(AT_SIGNATURE, RecordOf("after"), OctetsOf("after")), S_OK);
        EXPECT_EQ(KeyOf(container, AT_SIGNATURE), "after");
        EXPECT_EQ(home_->FilesOfUser().size(), 1U);
    }

    std::unique_ptr<ContainerHome> home_;
};

TEST_F(ContainersKilled, InACreationLeaveNoneOrAWholeOne) {
    int none = 0;
    int whole = 0;
    const int killed = KillAtEverySyscall(
        [&] {
            // The old home's variables go before the new one's come.
            home_.reset();
            home_ = std::make_unique<ContainerHome>();
        },
        [] {
            std::shared_ptr<Container> made;
            return Answer(provider::CreateContainer(ContainerScope::kUser, "mine", true, &made));
        },
        [&] {
            std::shared_ptr<Container> container = Open();
            (container == nullptr ? none : whole) += 1;
            if (container == nullptr) {
                container = Create();
            }
            ASSERT_NE(container, nullptr);
            EXPECT_EQ(KeyOf(*container, AT_SIGNATURE), "none");
            ExpectNextWriterCleansUp(*container);
        });
    SKIP_WHERE_NOTHING_IS_TRACED(killed);
    EXPECT_GT(none, 5);
    EXPECT_GT(whole, 1);
}

// Of each step that changes a container: the state before it, the step, and what is seen after.
class ContainersChanged : public ContainersKilled {
  protected:
    void KillIn(const std::function<void(Container&)>& prepare,
                const std::function<HRESULT(Container&)>& change,
                const std::function<std::string(Container&)>& look,
                const std::vector<std::string>& allowed) {
        std::shared_ptr<Container> container;
        std::set<std::string> seen;
        const int killed = KillAtEverySyscall(
            [&] {
                container.reset();
                home_.reset();
                home_ = std::make_unique<ContainerHome>();
                container = Create();
                ASSERT_NE(container, nullptr);
                prepare(*container);
            },
            [&] { return Answer(change(*container)); },
            [&] {
                seen.insert(look(*container));
                ExpectNextWriterCleansUp(*container);
            });
        SKIP_WHERE_NOTHING_IS_TRACED(killed);
        EXPECT_EQ(seen, std::set<std::string>(allowed.begin(), allowed.end()));
    }
};

TEST_F(ContainersChanged, ByAKeyHaveTheOldKeyOrTheNew) {
    KillIn(
        [](Container& c) { c.WriteKey(AT_KEYEXCHANGE, RecordOf("old"), OctetsOf("old")); },
        [](Container& c) { return c.WriteKey(AT_KEYEXCHANGE, RecordOf("new"), OctetsOf("new")); },
        [](Container& c) { return KeyOf(c, AT_KEYEXCHANGE); }, {"old", "new"});
}

TEST_F(ContainersChanged, UnderAPinHaveTheOldKeyOrTheNew) {
    KillIn(
        [](Container& c) {
            EXPECT_EQ(c.PresentPin(OctetsOf("1234")), S_OK);
            c.WriteKey(AT_KEYEXCHANGE, RecordOf("old"), OctetsOf("old"));
        },
        [](Container& c) { return c.WriteKey(AT_KEYEXCHANGE, RecordOf("new"), OctetsOf("new")); },
        [](Container& c) { return KeyOf(c, AT_KEYEXCHANGE); }, {"old", "new"});
}

TEST_F(ContainersChanged, ByACertificateHaveItOrNot) {
    KillIn([](Container& c) { c.WriteKey(AT_KEYEXCHANGE, RecordOf("key"), OctetsOf("key")); },
           [](Container& c) { return c.WriteCertificate(AT_KEYEXCHANGE, OctetsOf("certificate")); },
           [](Container& c) {
               KeyRecord record;
               EXPECT_EQ(c.ReadKey(AT_KEYEXCHANGE, &record), S_OK);
               EXPECT_EQ(KeyOf(c, AT_KEYEXCHANGE), "key");
               return std::string(record.certificate.begin(), record.certificate.end());
           },
           {"", "certificate"});
}

TEST_F(ContainersChanged, ByAPinKeepTheirKeysAndHaveItOrNot) {
    KillIn([](Container& c) { c.WriteKey(AT_KEYEXCHANGE, RecordOf("key"), OctetsOf("key")); },
           [](Container& c) { return c.PresentPin(OctetsOf("1234")); },
           [](Container& c) -> std::string {
               SecretBytes secret;
               const HRESULT status = c.ReadPrivateKey(AT_KEYEXCHANGE, &secret);
               if (status == NTE_SILENT_CONTEXT) {
                   EXPECT_EQ(c.PresentPin(OctetsOf("1234")), S_OK);
                   EXPECT_EQ(KeyOf(c, AT_KEYEXCHANGE), "key");
                   return "a PIN";
               }
               EXPECT_EQ(KeyOf(c, AT_KEYEXCHANGE), "key");
               return "no PIN";
           },
           {"a PIN", "no PIN"});
}

// The container, its key and the certificate, one after the other, as a restore makes them.
TEST_F(ContainersKilled, InAnImportLeaveEachStepDoneOrNotBegun) {
    std::vector<BYTE> blob;
    std::vector<BYTE> publicKey;
    {
        const ContainerHome home;
        const KeyContext source("source", CRYPT_NEWKEYSET);
        const HCRYPTKEY key = source.Generate(AT_KEYEXCHANGE, CRYPT_EXPORTABLE);
        blob = source.ExportPrivate(key, source.SessionKey());
        publicKey = source.ExportPublic(key);
    }
    const std::vector<BYTE> certificate = {0x30, 0x03, 0x02, 0x01, 0x05};
    const auto restore = [&] {
        const KeyContext made("mine", CRYPT_NEWKEYSET | CRYPT_SILENT);
        const HCRYPTKEY key = made.Import(blob, made.SessionKey());
        EXPECT_TRUE(CPSetKeyParam(made.Get(), key, KP_CERTIFICATE, certificate.data(), 0));
        return HasFailure() ? 1 : 0;
    };
    const auto look = [&]() -> std::string {
        if (Open() == nullptr) {
            return "nothing";
        }
        const KeyContext found("mine");
        HCRYPTKEY key = 0;
        if (!CPGetUserKey(found.Get(), AT_KEYEXCHANGE, &key)) {
            EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_NO_KEY));
            return "a container";
        }
        EXPECT_EQ(found.ExportPublic(key), publicKey);
        const HCRYPTHASH hash = found.HashOf(0x8021, "message");
        EXPECT_TRUE(found.Verify(hash, found.Sign(hash, AT_KEYEXCHANGE), key));
        DWORD size = 0;
        if (!CPGetKeyParam(found.Get(), key, KP_CERTIFICATE, nullptr, &size, 0)) {
            return "a key";
        }
        EXPECT_EQ(found.Parameter(key, KP_CERTIFICATE), certificate);
        return "a key and its certificate";
    };
    std::set<std::string> seen;
    const int killed = KillAtEverySyscall(
        [&] {
            home_.reset();
            home_ = std::make_unique<ContainerHome>();
        },
        restore, [&] { seen.insert(look()); });
    SKIP_WHERE_NOTHING_IS_TRACED(killed);
    EXPECT_EQ(seen, (std::set<std::string>{"nothing", "a container", "a key",
                                           "a key and its certificate"}));
}

TEST_F(ContainersKilled, InADeletionLeaveAWholeOneOrNone) {
    int none = 0;
    int whole = 0;
    const int killed = KillAtEverySyscall(
        [&] {
            home_.reset();
            home_ = std::make_unique<ContainerHome>();
            EXPECT_EQ(Create()->WriteKey(AT_SIGNATURE, RecordOf("key"), OctetsOf("key")), S_OK);
        },
        [] { return Answer(provider::DeleteContainer(ContainerScope::kUser, "mine")); },
        [&] {
            std::shared_ptr<Container> container = Open();
            (container == nullptr ? none : whole) += 1;
            if (container == nullptr) {
                container = Create();
            } else {
                EXPECT_EQ(KeyOf(*container, AT_SIGNATURE), "key");
            }
            ExpectNextWriterCleansUp(*container);
        });
    SKIP_WHERE_NOTHING_IS_TRACED(killed);
    EXPECT_GT(whole, 5);
    EXPECT_GT(none, 1);
}

}  // namespace
