#include "provider/container.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string_view>

#include "provider/container_seal.h"
#include "provider/container_store.h"
#include "support/container_home.h"

namespace {

using provider::Container;
using provider::ContainerScope;
using provider::KeyRecord;
using provider::SecretBytes;
using test_support::ContainerHome;
using Bytes = std::vector<BYTE>;

std::span<const BYTE> OctetsOf(std::string_view text) {
    return {reinterpret_cast<const BYTE*>(text.data()), text.size()};
}

const KeyRecord kRecord = {0x2E49, 0x3F, {0x30, 0x03, 0x02, 0x01, 0x05}, {}};
constexpr std::string_view kPrivateKey = "a private key that stands in no other place";

class KeyContainer : public testing::Test {
  protected:
    static std::shared_ptr<Container> Create(bool isSilent = false) {
        std::shared_ptr<Container> made;
        EXPECT_EQ(provider::CreateContainer(ContainerScope::kUser, "mine", isSilent, &made), S_OK);
        return made;
    }
    static std::shared_ptr<Container> Open(bool isSilent = false) {
        std::shared_ptr<Container> opened;
        EXPECT_EQ(provider::OpenContainer(ContainerScope::kUser, "mine", isSilent, &opened), S_OK);
        return opened;
    }
    static HRESULT Delete() { return provider::DeleteContainer(ContainerScope::kUser, "mine"); }
    std::filesystem::path File() const { return home_.UserKeys() / home_.FilesOfUser().at(0); }

    static void ExpectKey(const Container& container, DWORD keySpec, const KeyRecord& expected,
                          std::string_view privateKey) {
        KeyRecord record;
        ASSERT_EQ(container.ReadKey(keySpec, &record), S_OK);
        EXPECT_EQ(record.algorithm, expected.algorithm);
        EXPECT_EQ(record.permissions, expected.permissions);
        EXPECT_EQ(record.publicKey, expected.publicKey);
        EXPECT_EQ(record.certificate, expected.certificate);
        SecretBytes secret;
        ASSERT_EQ(container.ReadPrivateKey(keySpec, &secret), S_OK);
        EXPECT_TRUE(std::ranges::equal(secret.View(), OctetsOf(privateKey)));
    }

    ContainerHome home_;
};

TEST_F(KeyContainer, IsEmptyWhenMade) {
    const auto container = Create();
    for (const DWORD keySpec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
        KeyRecord record;
        SecretBytes secret;
        EXPECT_EQ(container->ReadKey(keySpec, &record), NTE_NO_KEY);
        EXPECT_EQ(container->ReadPrivateKey(keySpec, &secret), NTE_NO_KEY);
        EXPECT_EQ(container->WriteCertificate(keySpec, OctetsOf("certificate")), NTE_NO_KEY);
        EXPECT_EQ(container->NarrowPermissions(keySpec, 1), NTE_NO_KEY);
        EXPECT_EQ(container->ReadKey(keySpec, &record), NTE_NO_KEY);
    }
}

TEST_F(KeyContainer, KeepsAKeyInEachSlotForWhoeverOpensIt) {
    const auto container = Create();
    KeyRecord other = kRecord;
    other.algorithm = 0x2E3D;
    ASSERT_EQ(container->WriteKey(AT_KEYEXCHANGE, kRecord, OctetsOf(kPrivateKey)), S_OK);
    ASSERT_EQ(container->WriteKey(AT_SIGNATURE, other, OctetsOf("the other")), S_OK);
    for (const auto& reader : {container, Open(), Open(true)}) {
        ExpectKey(*reader, AT_KEYEXCHANGE, kRecord, kPrivateKey);
        ExpectKey(*reader, AT_SIGNATURE, other, "the other");
    }
}

TEST_F(KeyContainer, ReplacesAKeyAsAWhole) {
    const auto container = Create();
    ASSERT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf(kPrivateKey)), S_OK);
    ASSERT_EQ(container->WriteCertificate(AT_SIGNATURE, OctetsOf("certificate")), S_OK);
    const KeyRecord next = {0xAA24, 1, {}, {}};
    ASSERT_EQ(container->WriteKey(AT_SIGNATURE, next, OctetsOf("next")), S_OK);
    ExpectKey(*Open(), AT_SIGNATURE, next, "next");
}

TEST_F(KeyContainer, KeepsACertificateAndPermissionsBesideTheKey) {
    const auto container = Create();
    ASSERT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf(kPrivateKey)), S_OK);
    ASSERT_EQ(container->WriteCertificate(AT_SIGNATURE, OctetsOf("cert")), S_OK);
    ASSERT_EQ(container->NarrowPermissions(AT_SIGNATURE, 0x1F), S_OK);
    EXPECT_EQ(container->NarrowPermissions(AT_SIGNATURE, 0x3F), NTE_PERM);
    KeyRecord expected = kRecord;
    expected.certificate = {'c', 'e', 'r', 't'};
    expected.permissions = 0x1F;
    ExpectKey(*Open(), AT_SIGNATURE, expected, kPrivateKey);
    ASSERT_EQ(container->WriteCertificate(AT_SIGNATURE, {}), S_OK);
    expected.certificate.clear();
    ExpectKey(*Open(), AT_SIGNATURE, expected, kPrivateKey);
}

TEST_F(KeyContainer, GivesTheErrorWordsOfWhatItIsAsked) {
    const auto container = Create();
    KeyRecord record;
    SecretBytes secret;
    for (const DWORD keySpec : {0U, 3U}) {
        EXPECT_EQ(container->ReadKey(keySpec, &record), NTE_BAD_KEY);
        EXPECT_EQ(container->ReadPrivateKey(keySpec, &secret), NTE_BAD_KEY);
        EXPECT_EQ(container->WriteKey(keySpec, kRecord, OctetsOf("k")), NTE_BAD_KEY);
        EXPECT_EQ(container->WriteCertificate(keySpec, {}), NTE_BAD_KEY);
        EXPECT_EQ(container->NarrowPermissions(keySpec, 0), NTE_BAD_KEY);
    }
    EXPECT_EQ(container->WriteKey(AT_SIGNATURE, {}, OctetsOf("k")), NTE_BAD_ALGID);
    EXPECT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, {}), NTE_BAD_LEN);
    EXPECT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, Bytes(4097)), NTE_BAD_LEN);
    EXPECT_EQ(container->ReadKey(AT_SIGNATURE, &record), NTE_NO_KEY);
    EXPECT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, Bytes(4096)), S_OK);
    // Too large for the file: what was there stays.
    EXPECT_EQ(container->WriteCertificate(AT_SIGNATURE, Bytes(1 << 20)), NTE_BAD_LEN);
    ExpectKey(*Open(), AT_SIGNATURE, kRecord, std::string(4096, '\0'));
}

TEST_F(KeyContainer, AsksForItsPinBeforeAnythingPrivate) {
    const auto owner = Create();
    ASSERT_EQ(owner->WriteKey(AT_SIGNATURE, kRecord, OctetsOf(kPrivateKey)), S_OK);
    ASSERT_EQ(owner->PresentPin(OctetsOf("1234")), S_OK);
    const struct {
        std::shared_ptr<Container> container;
        HRESULT word;
    } others[] = {{Open(), SCARD_W_CARD_NOT_AUTHENTICATED}, {Open(true), NTE_SILENT_CONTEXT}};
    for (const auto& other : others) {
        KeyRecord record;
        SecretBytes secret;
        EXPECT_EQ(other.container->ReadKey(AT_SIGNATURE, &record), S_OK);
        EXPECT_EQ(record.publicKey, kRecord.publicKey);
        EXPECT_EQ(other.container->ReadPrivateKey(AT_SIGNATURE, &secret), other.word);
        EXPECT_TRUE(secret.empty());
        EXPECT_EQ(other.container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf("k")), other.word);
        EXPECT_EQ(other.container->WriteCertificate(AT_SIGNATURE, {}), other.word);
        EXPECT_EQ(other.container->NarrowPermissions(AT_SIGNATURE, 0), other.word);
        EXPECT_EQ(other.container->PresentPin(OctetsOf("4321")), SCARD_W_WRONG_CHV);
        EXPECT_EQ(other.container->ReadPrivateKey(AT_SIGNATURE, &secret), other.word);
        EXPECT_EQ(other.container->PresentPin(OctetsOf("1234")), S_OK);
        ExpectKey(*other.container, AT_SIGNATURE, kRecord, kPrivateKey);
        // A wrong one afterwards takes nothing away.
        EXPECT_EQ(other.container->PresentPin(OctetsOf("4321")), SCARD_W_WRONG_CHV);
        ExpectKey(*other.container, AT_SIGNATURE, kRecord, kPrivateKey);
    }
    ExpectKey(*owner, AT_SIGNATURE, kRecord, kPrivateKey);
}

TEST_F(KeyContainer, SealsTheKeysThatItHasWhenItsPinIsSet) {
    const auto container = Create();
    ASSERT_EQ(container->WriteKey(AT_KEYEXCHANGE, kRecord, OctetsOf(kPrivateKey)), S_OK);
    ASSERT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf("the other")), S_OK);
    const auto before = Open();
    ASSERT_EQ(container->PresentPin(OctetsOf("1234")), S_OK);
    // A context that was opened before needs it too.
    SecretBytes secret;
    EXPECT_EQ(before->ReadPrivateKey(AT_SIGNATURE, &secret), SCARD_W_CARD_NOT_AUTHENTICATED);
    const auto after = Open();
    ASSERT_EQ(after->PresentPin(OctetsOf("1234")), S_OK);
    ExpectKey(*after, AT_KEYEXCHANGE, kRecord, kPrivateKey);
    ExpectKey(*after, AT_SIGNATURE, kRecord, "the other");
}

TEST_F(KeyContainer, TakesAPinOfAnyOctetsUpToItsLongest) {
    const auto container = Create();
    EXPECT_EQ(container->PresentPin({}), NTE_BAD_LEN);
    EXPECT_EQ(container->PresentPin(Bytes(256, 'p')), NTE_BAD_LEN);
    EXPECT_EQ(container->PresentPin(Bytes(255, 0xFF)), S_OK);
    EXPECT_EQ(Open()->PresentPin(Bytes(254, 0xFF)), SCARD_W_WRONG_CHV);
    EXPECT_EQ(Open()->PresentPin(Bytes(255, 0xFF)), S_OK);
}

// The octets of a private key, and of its pieces, are searched in the file.
TEST_F(KeyContainer, HasNoPrivateKeyInClearInItsFile) {
    const auto holds = [this](std::string_view text) {
        const Bytes file = test_support::ReadFile(File());
        return std::search(file.begin(), file.end(), text.begin(), text.end()) != file.end();
    };
    const auto container = Create();
    ASSERT_EQ(container->PresentPin(OctetsOf("the PIN itself")), S_OK);
    ASSERT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf(kPrivateKey)), S_OK);
    ASSERT_EQ(container->WriteCertificate(AT_SIGNATURE, OctetsOf("the certificate")), S_OK);
    for (std::size_t i = 0; i + 8 <= kPrivateKey.size(); i += 8) {
        EXPECT_FALSE(holds(kPrivateKey.substr(i, 8))) << i;
    }
    EXPECT_FALSE(holds("the PIN"));
    EXPECT_TRUE(holds("the certificate"));
}

TEST_F(KeyContainer, DrawsANewSaltForEachPinAndANewVectorForEachKey) {
    const auto container = Create();
    ASSERT_EQ(container->PresentPin(OctetsOf("1234")), S_OK);
    ASSERT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf(kPrivateKey)), S_OK);
    provider::ContainerImage first;
    provider::ContainerImage second;
    const std::string file = File().filename().string();
    ASSERT_EQ(provider::ReadContainerImage(ContainerScope::kUser, file, &first), S_OK);
    ASSERT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf(kPrivateKey)), S_OK);
    ASSERT_EQ(provider::ReadContainerImage(ContainerScope::kUser, file, &second), S_OK);
    EXPECT_EQ(first.salt, second.salt);
    EXPECT_NE(first.keys[1].sealed, second.keys[1].sealed);
    EXPECT_EQ(first.iterations, provider::kNewPinIterations);
    ASSERT_EQ(Delete(), S_OK);
    ASSERT_EQ(Create()->PresentPin(OctetsOf("1234")), S_OK);
    ASSERT_EQ(provider::ReadContainerImage(ContainerScope::kUser, file, &second), S_OK);
    EXPECT_NE(first.salt, second.salt);
}

TEST_F(KeyContainer, SeesWhatAnotherContextWrites) {
    const auto one = Create();
    const auto other = Open();
    ASSERT_EQ(one->WriteKey(AT_SIGNATURE, kRecord, OctetsOf(kPrivateKey)), S_OK);
    ExpectKey(*other, AT_SIGNATURE, kRecord, kPrivateKey);
    ASSERT_EQ(other->WriteKey(AT_KEYEXCHANGE, kRecord, OctetsOf("second")), S_OK);
    ExpectKey(*one, AT_KEYEXCHANGE, kRecord, "second");
    ExpectKey(*one, AT_SIGNATURE, kRecord, kPrivateKey);
}

TEST_F(KeyContainer, AnswersForADeletedOneAndNotForItsSuccessor) {
    const auto old = Create();
    ASSERT_EQ(old->PresentPin(OctetsOf("1234")), S_OK);
    ASSERT_EQ(old->WriteKey(AT_SIGNATURE, kRecord, OctetsOf(kPrivateKey)), S_OK);
    ASSERT_EQ(Delete(), S_OK);
    const auto next = Create();
    ASSERT_EQ(next->WriteKey(AT_SIGNATURE, kRecord, OctetsOf("of the next")), S_OK);
    KeyRecord record;
    SecretBytes secret;
    EXPECT_EQ(old->ReadKey(AT_SIGNATURE, &record), NTE_BAD_KEYSET);
    EXPECT_EQ(old->ReadPrivateKey(AT_SIGNATURE, &secret), NTE_BAD_KEYSET);
    EXPECT_EQ(old->WriteKey(AT_SIGNATURE, kRecord, OctetsOf("k")), NTE_BAD_KEYSET);
    EXPECT_EQ(old->PresentPin(OctetsOf("1234")), NTE_BAD_KEYSET);
    ExpectKey(*next, AT_SIGNATURE, kRecord, "of the next");
}

// Damage at any place, one octet at a time.
TEST_F(KeyContainer, IsUnusableAndNeverWrongOnceItsFileIsDamaged) {
    const auto container = Create();
    ASSERT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf(kPrivateKey)), S_OK);
    const Bytes whole = test_support::ReadFile(File());
    std::mt19937 random(7);
    for (std::size_t place = 0; place != whole.size(); ++place) {
        Bytes damaged = whole;
        damaged[place] = static_cast<BYTE>(damaged[place] ^ (1 + random() % 255));
        test_support::OverwriteFile(File(), damaged);
        KeyRecord record;
        SecretBytes secret;
        EXPECT_EQ(container->ReadKey(AT_SIGNATURE, &record), NTE_KEYSET_ENTRY_BAD) << place;
        EXPECT_EQ(container->ReadPrivateKey(AT_SIGNATURE, &secret), NTE_KEYSET_ENTRY_BAD);
        EXPECT_EQ(container->WriteKey(AT_KEYEXCHANGE, kRecord, OctetsOf("k")),
                  NTE_KEYSET_ENTRY_BAD);
        EXPECT_EQ(test_support::ReadFile(File()), damaged);
    }
    test_support::OverwriteFile(File(), whole);
    ExpectKey(*container, AT_SIGNATURE, kRecord, kPrivateKey);
}

// A forger can make the checksum, but not the MAC.
TEST_F(KeyContainer, RefusesAKeyThatAForgerMovedToAnotherSlot) {
    const auto container = Create();
    ASSERT_EQ(container->PresentPin(OctetsOf("1234")), S_OK);
    ASSERT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf(kPrivateKey)), S_OK);
    provider::ContainerImage image;
    ASSERT_EQ(
        provider::ReadContainerImage(ContainerScope::kUser, File().filename().string(), &image),
        S_OK);
    std::swap(image.keys[0], image.keys[1]);
    test_support::OverwriteFile(File(), provider::SerializeContainer(image).value());
    SecretBytes secret;
    EXPECT_EQ(container->ReadPrivateKey(AT_KEYEXCHANGE, &secret), NTE_KEYSET_ENTRY_BAD);
    EXPECT_EQ(container->WriteCertificate(AT_KEYEXCHANGE, {}), NTE_KEYSET_ENTRY_BAD);
    EXPECT_EQ(Open()->PresentPin(OctetsOf("1234")), SCARD_W_WRONG_CHV);
    EXPECT_TRUE(secret.empty());
}

TEST_F(KeyContainer, DoesNotLoseItsPinToAForger) {
    const auto container = Create();
    const Bytes withoutPin = test_support::ReadFile(File());
    ASSERT_EQ(container->PresentPin(OctetsOf("1234")), S_OK);
    test_support::OverwriteFile(File(), withoutPin);
    EXPECT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf(kPrivateKey)),
              NTE_KEYSET_ENTRY_BAD);
    EXPECT_EQ(test_support::ReadFile(File()), withoutPin);
}

TEST_F(KeyContainer, IsNotOpenedFromAFileOfAnotherName) {
    Create();
    const std::filesystem::path file = File();
    std::shared_ptr<Container> other;
    ASSERT_EQ(provider::CreateContainer(ContainerScope::kUser, "other", false, &other), S_OK);
    std::filesystem::path otherFile;
    for (const std::string& name : home_.FilesOfUser()) {
        if (home_.UserKeys() / name != file) {
            otherFile = home_.UserKeys() / name;
        }
    }
    test_support::OverwriteFile(otherFile, test_support::ReadFile(file));
    EXPECT_EQ(provider::OpenContainer(ContainerScope::kUser, "other", false, &other),
              NTE_KEYSET_ENTRY_BAD);
    EXPECT_NE(Open(), nullptr);
}

}  // namespace
