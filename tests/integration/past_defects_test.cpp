// Inputs that software of this kind has failed on before, each with the answer that it has to get.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/container_home.h"
#include "support/containers_in_csp.h"
#include "support/hex.h"
#include "support/key_store.h"
#include "support/safe_bags.h"

namespace {

using test_support::Attribute;
using test_support::Bytes;
using test_support::CertificateBag;
using test_support::DocumentOf;
using test_support::Element;
using test_support::EncryptedContentInfo;
using test_support::Encryption;
using test_support::FriendlyName;
using test_support::FromHex;
using test_support::Join;
using test_support::KeyBag;
using test_support::LocalKeyId;
using test_support::MakeCertificate;
using test_support::Oid;
using test_support::OpenStore;
using test_support::PfxBuilder;
using test_support::PlainContentInfo;

constexpr DWORD kBadData = static_cast<DWORD>(NTE_BAD_DATA);
constexpr DWORD kCorrupt = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
constexpr DWORD kWrongPassword = static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD);
constexpr wchar_t kPassword[] = L"Password1";

constexpr char kData[] = "1.2.840.113549.1.7.1";
constexpr char kEncryptedData[] = "1.2.840.113549.1.7.6";
constexpr char kLocalKeyId[] = "1.2.840.113549.1.9.21";
constexpr char kFriendlyName[] = "1.2.840.113549.1.9.20";

const Bytes kSalt = Element(0x04, {9, 8, 7, 6, 5, 4, 3, 2});
const Bytes kTwice = Element(0x02, {2});
const Bytes kFunction = Element(0x30, Join({Oid("1.2.643.7.1.1.4.1"), Element(0x05, {})}));

// PBES2 with these parameters of PBKDF2 in the place of Encryption's.
Bytes AlgorithmWith(const Bytes& derivationParameters) {
    const Encryption encryption;
    const Bytes derivation =
        Element(0x30, Join({Oid("1.2.840.113549.1.5.12"), Element(0x30, derivationParameters)}));
    const Bytes cipher = Element(
        0x30, Join({Oid(encryption.cipher), Element(0x30, Join({Element(0x04, encryption.vector),
                                                                Oid(encryption.parameterSet)}))}));
    return Element(0x30, Join({Oid(encryption.scheme), Element(0x30, Join({derivation, cipher}))}));
}

// ContentInfo of type encryptedData around these elements behind the type.
Bytes EncryptedWith(const Bytes& algorithm, const Bytes& encryptedElement) {
    const Bytes info = Element(0x30, Join({Oid(kData), algorithm, encryptedElement}));
    const Bytes data = Element(0x30, Join({Element(0x02, {0}), info}));
    return Element(0x30, Join({Oid(kEncryptedData), Element(0xA0, data)}));
}

// A key's bag under this algorithm, with these attributes.
Bytes KeyBagWith(const Bytes& algorithm) {
    const Bytes info = Element(0x30, Join({algorithm, Element(0x04, KeyBag().EncryptedKey())}));
    return Element(
        0x30, Join({Oid("1.2.840.113549.1.12.10.1.2"), Element(0xA0, info), Element(0x31, {})}));
}

Bytes KeyWith(const std::vector<Bytes>& attributes) {
    KeyBag key;
    key.attributes = attributes;
    return key.Build();
}

class PastDefects : public testing::Test {
  protected:
    static OpenStore Restore(Bytes document) {
        const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
        return OpenStore(UzRestorePFX(&pfx, kPassword, 0));
    }
    // No store, this word, and so many containers that stay.
    void ExpectRefused(const Bytes& document, DWORD error, std::size_t containers = 0) const {
        const OpenStore store = Restore(document);
        EXPECT_EQ(GetLastError(), error) << std::hex << GetLastError();
        EXPECT_EQ(store.Get(), nullptr);
        EXPECT_EQ(home_.FilesOfUser().size(), containers);
    }
    void ExpectRestored(const Bytes& document, const std::vector<Bytes>& certificates,
                        std::size_t containers) const {
        const OpenStore store = Restore(document);
        ASSERT_NE(store.Get(), nullptr) << std::hex << GetLastError();
        EXPECT_EQ(GetLastError(), 0U);
        EXPECT_EQ(store.All(), certificates);
        EXPECT_EQ(home_.FilesOfUser().size(), containers);
    }
    static void ExpectVerdict(Bytes document, BOOL fits, DWORD error) {
        const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
        EXPECT_EQ(UzVerifyPswPFX(&pfx, kPassword), fits);
        EXPECT_EQ(GetLastError(), error) << std::hex << GetLastError();
    }
    static bool HasContainer(const char* name) {
        HCRYPTPROV context = 0;
        return CryptAcquireContextA(&context, name, test_support::kProviderName,
                                    test_support::kProviderType, CRYPT_SILENT) &&
               CryptReleaseContext(context, 0);
    }
    // The exit code of the tool for a document of its own.
    int RunTool(const char* command, const Bytes& document) const {
        const std::filesystem::path file = home_.User() / "document";
        const std::filesystem::path password = home_.User() / "password";
        std::filesystem::create_directories(home_.User());
        test_support::OverwriteFile(file, document);
        std::ofstream(password) << "Password1";
        const std::string line = std::string(MVLPFX_TOOL) + " " + command + " " + file.string() +
                                 " --pass-file " + password.string() + " 2>/dev/null >&2";
        return WEXITSTATUS(std::system(line.c_str()));
    }

    test_support::ContainerHome home_;
    const Bytes leaf_ = MakeCertificate("leaf", "ca");
};

// What the MAC covers is then the digest's identifier, the first element at its depth.
TEST_F(PastDefects, ADocumentWhoseContentInfoHasNoContentHasAnotherMac) {
    const Bytes contentInfo = Element(0x30, Oid(kData));
    const Bytes document =
        Element(0x30, Join({Element(0x02, {3}), contentInfo, PfxBuilder().MacData()}));
    ExpectVerdict(document, FALSE, kWrongPassword);
    ExpectRefused(document, kWrongPassword);
}

TEST_F(PastDefects, AnEncryptedContentInfoWithoutContentIsCorrupt) {
    ExpectRefused(DocumentOf({Element(0x30, Oid(kEncryptedData)), PlainContentInfo({KeyWith({})})}),
                  kCorrupt);
}

TEST_F(PastDefects, AnAbsentEncryptedContentIsAnEmptyStore) {
    const Bytes content = EncryptedWith(Encryption().AlgorithmIdentifier(), {});
    ExpectRestored(DocumentOf({content, PlainContentInfo({})}), {}, 0);
}

TEST_F(PastDefects, AnIdentifierOfTheWrongTypeIsCorruptBeforeItsContainerIsMade) {
    for (const Bytes& value : {Element(0x02, {1}), Element(0x30, {}), Element(0x0C, {'1'})}) {
        const Bytes key = KeyWith({Attribute(kLocalKeyId, {value})});
        ExpectRefused(DocumentOf({EncryptedContentInfo({}), PlainContentInfo({key})}), kCorrupt);
    }
}

TEST_F(PastDefects, ANameOfTheWrongTypeIsCorruptBeforeItsContainerIsMade) {
    for (const Bytes& value : {Element(0x02, {1}), Element(0x30, {}), Element(0x04, {'1'})}) {
        const Bytes key = KeyWith({Attribute(kFriendlyName, {value})});
        ExpectRefused(DocumentOf({EncryptedContentInfo({}), PlainContentInfo({key})}), kCorrupt);
    }
}

TEST_F(PastDefects, AnAttributeWithoutValueIsCorruptAfterItsKeyIsInItsContainer) {
    std::size_t containers = 0;
    for (const char* const oid : {kLocalKeyId, kFriendlyName}) {
        const Bytes key = KeyWith({Attribute(oid, {})});
        ExpectRefused(DocumentOf({EncryptedContentInfo({}), PlainContentInfo({key})}), kCorrupt,
                      ++containers);
    }
    EXPECT_EQ(test_support::CountContainers().withKey, containers);
}

TEST_F(PastDefects, OfAnAttributeThatStandsTwiceTheLaterOneCounts) {
    const Bytes key = KeyWith({FriendlyName(u"first"), LocalKeyId({7}), FriendlyName(u"second"),
                               LocalKeyId({1, 0, 0, 0})});
    const Bytes bag = CertificateBag{leaf_, {LocalKeyId({1, 0, 0, 0})}}.Build();
    const OpenStore store =
        Restore(DocumentOf({EncryptedContentInfo({bag}), PlainContentInfo({key})}));
    ASSERT_NE(store.Get(), nullptr);
    DWORD size = 0;
    const test_support::Certificate restored(store.First());
    EXPECT_TRUE(CertGetCertificateContextProperty(restored.Get(), CERT_KEY_PROV_INFO_PROP_ID,
                                                  nullptr, &size));
    EXPECT_TRUE(HasContainer("second"));
    EXPECT_FALSE(HasContainer("first"));
}

// The function is read in the third place.
TEST_F(PastDefects, Pbkdf2WithAKeyLengthIsCorrupt) {
    const Bytes algorithm = AlgorithmWith(Join({kSalt, kTwice, Element(0x02, {32}), kFunction}));
    const Bytes encrypted = Encryption().Encrypt("Password1", Element(0x30, {}));
    ExpectRefused(DocumentOf({EncryptedWith(algorithm, Element(0x80, encrypted)),
                              PlainContentInfo({KeyWith({})})}),
                  kCorrupt);
    ExpectRefused(DocumentOf({EncryptedContentInfo({}), PlainContentInfo({KeyBagWith(algorithm)})}),
                  kCorrupt);
}

TEST_F(PastDefects, ASaltThatIsNoOctetStringIsCorrupt) {
    for (const Bytes& salt : {Element(0x30, Oid("1.2.3")), Element(0x02, {9}), Bytes{5, 0}}) {
        const Bytes algorithm = AlgorithmWith(Join({salt, kTwice, kFunction}));
        const Bytes encrypted = Encryption().Encrypt("Password1", Element(0x30, {}));
        ExpectRefused(DocumentOf({EncryptedWith(algorithm, Element(0x80, encrypted)),
                                  PlainContentInfo({KeyWith({})})}),
                      kCorrupt);
        ExpectRefused(
            DocumentOf({EncryptedContentInfo({}), PlainContentInfo({KeyBagWith(algorithm)})}),
            kCorrupt);
    }
}

TEST_F(PastDefects, AMacOf0To63BytesIsNoneOf64) {
    PfxBuilder builder;
    builder.hashAlgorithm = 0x8022;
    builder.digestOid.back() = 0x03;
    ExpectVerdict(builder.Build(), TRUE, 0);
    for (std::size_t size = 0; size < 64; ++size) {
        SCOPED_TRACE(size);
        builder.mac = [size](const Bytes& mac) {
            return Bytes(mac.begin(), mac.begin() + static_cast<std::ptrdiff_t>(size));
        };
        ExpectVerdict(builder.Build(), FALSE, size == 0 ? kBadData : kWrongPassword);
    }
}

TEST_F(PastDefects, ABmpStringOfOddSizeIsCorruptBeforeItsContainerIsMade) {
    for (const Bytes& name : {Bytes{0}, Bytes{0, 'A', 0}}) {
        const Bytes key = KeyWith({Attribute(kFriendlyName, {Element(0x1E, name)})});
        ExpectRefused(DocumentOf({EncryptedContentInfo({}), PlainContentInfo({key})}), kCorrupt);
    }
}

TEST_F(PastDefects, ANameThatIsTooLongMakesNoContainer) {
    for (const std::size_t size : {261U, 100'000U}) {
        const Bytes key = KeyWith({FriendlyName(std::u16string(size, u'A'))});
        ExpectRefused(DocumentOf({EncryptedContentInfo({}), PlainContentInfo({key})}),
                      static_cast<DWORD>(NTE_BAD_KEYSET_PARAM));
    }
    const Bytes key = KeyWith({FriendlyName(std::u16string(260, u'A'))});
    ExpectRestored(DocumentOf({EncryptedContentInfo({}), PlainContentInfo({key})}), {}, 1);
    EXPECT_TRUE(HasContainer(std::string(260, 'A').c_str()));
}

TEST_F(PastDefects, ALoneSurrogateBecomesTheReplacementCharacter) {
    const std::u16string names[] = {{u'h', char16_t{0xD800}}, {u'l', char16_t{0xDC00}, u'x'}};
    std::vector<Bytes> keys;
    for (const std::u16string& name : names) {
        keys.push_back(KeyWith({FriendlyName(name)}));
    }
    ExpectRestored(DocumentOf({EncryptedContentInfo({}), PlainContentInfo(keys)}), {}, 2);
    EXPECT_TRUE(HasContainer("h\xEF\xBF\xBD"));
    EXPECT_TRUE(HasContainer("l\xEF\xBF\xBDx"));
}

TEST_F(PastDefects, ANameEndsAtItsFirstNul) {
    using namespace std::string_literals;
    const std::vector<Bytes> keys = {KeyWith({FriendlyName(u"front\0back"s)}),
                                     KeyWith({FriendlyName(u"\0back"s)})};
    ExpectRestored(DocumentOf({EncryptedContentInfo({}), PlainContentInfo(keys)}), {}, 2);
    EXPECT_TRUE(HasContainer("front"));
    EXPECT_FALSE(HasContainer("back"));
}

TEST_F(PastDefects, CertificatesAroundThirtyTwoAndTenThousandAreAllThere) {
    for (const std::size_t count : {31U, 32U, 33U, 10'000U}) {
        std::vector<Bytes> certificates;
        std::vector<Bytes> bags;
        for (std::size_t i = 0; i < count; ++i) {
            certificates.push_back(MakeCertificate("leaf " + std::to_string(i), "ca"));
            bags.push_back(CertificateBag{certificates.back(), {}}.Build());
        }
        ExpectRestored(DocumentOf({EncryptedContentInfo(bags), PlainContentInfo({})}), certificates,
                       0);
    }
}

TEST_F(PastDefects, KeysAroundThirtyTwoAreAllThere) {
    std::size_t containers = 0;
    for (const std::size_t count : {31U, 32U, 33U}) {
        containers += count;
        ExpectRestored(DocumentOf({EncryptedContentInfo({}),
                                   PlainContentInfo(std::vector<Bytes>(count, KeyWith({})))}),
                       {}, containers);
    }
    EXPECT_EQ(test_support::CountContainers().withKey, containers);
}

TEST_F(PastDefects, LengthsNearTwoAndFourGigabytesAreRefused) {
    for (const char* const length : {"7F FF FF FE", "7F FF FF FF", "80 00 00 00", "80 00 00 01",
                                     "FF FF FF FE", "FF FF FF FF"}) {
        SCOPED_TRACE(length);
        const Bytes claim = FromHex(std::string("84 ") + length);
        for (const Bytes& document :
             {Join({{0x30}, claim, {0x02, 0x01, 0x03}}),
              Element(0x30, Join({{0x02}, claim, {0x03}})),
              Element(0x30, Join({Element(0x02, {3}), {0x30}, claim, Oid(kData)})),
              Element(0x30, Join({Element(0x02, {3}),
                                  Element(0x30, Join({Oid(kData), {0xA0}, claim, {0x04}}))}))}) {
            ExpectVerdict(document, FALSE, kBadData);
            ExpectRefused(document, kBadData);
        }
        // Behind the right MAC: what does not parse holds no bags.
        const Bytes decrypted = Join({{0x30}, claim, Element(0x30, {})});
        const Bytes content =
            EncryptedWith(Encryption().AlgorithmIdentifier(),
                          Element(0x80, Encryption().Encrypt("Password1", decrypted)));
        ExpectRestored(DocumentOf({content, PlainContentInfo({})}), {}, 0);
    }
}

TEST_F(PastDefects, AHundredThousandLevelsAreWalked) {
    constexpr std::size_t kDeep = 100'000;
    PfxBuilder builder;
    builder.content = test_support::NestedSequences(kDeep);
    ExpectVerdict(builder.Build(), TRUE, 0);
    // Without encrypted content.
    ExpectRefused(builder.Build(), kBadData);
    const Bytes content = EncryptedWith(
        Encryption().AlgorithmIdentifier(),
        Element(0x80, Encryption().Encrypt("Password1", test_support::NestedSequences(kDeep))));
    ExpectRestored(DocumentOf({content, PlainContentInfo({})}), {}, 0);
}

TEST_F(PastDefects, AHundredThousandSmallElementsAreWalked) {
    Bytes elements;
    for (int i = 0; i < 100'000; ++i) {
        elements.insert(elements.end(), {0x02, 0x01, 0x05});
    }
    PfxBuilder builder;
    builder.content = Element(0x30, elements);
    ExpectVerdict(builder.Build(), TRUE, 0);
    ExpectRefused(builder.Build(), kBadData);
    const Bytes content =
        EncryptedWith(Encryption().AlgorithmIdentifier(),
                      Element(0x80, Encryption().Encrypt("Password1", Element(0x30, elements))));
    ExpectRestored(DocumentOf({content, PlainContentInfo({})}), {}, 0);
}

TEST_F(PastDefects, ACountOfZeroIs2000AndOneIsOne) {
    PfxBuilder builder;
    builder.iterationOctets = {0};
    builder.iterations = 2000;
    ExpectVerdict(builder.Build(), TRUE, 0);
    builder.iterationOctets = {1};
    builder.iterations = 1;
    ExpectVerdict(builder.Build(), TRUE, 0);

    for (const auto& [written, meant] : {std::pair<std::uint8_t, unsigned>{0, 2000}, {1, 1}}) {
        Encryption encryption;
        encryption.iterations = meant;
        const Bytes bag = CertificateBag{leaf_, {}}.Build();
        const Bytes encrypted = encryption.Encrypt("Password1", Element(0x30, bag));
        const Bytes algorithm = AlgorithmWith(Join({kSalt, Element(0x02, {written}), kFunction}));
        ExpectRestored(
            DocumentOf({EncryptedWith(algorithm, Element(0x80, encrypted)), PlainContentInfo({})}),
            {leaf_}, 0);
    }
}

TEST_F(PastDefects, TheToolRefusesTheGreatestCountBeforeItDerives) {
    constexpr int kTooManyIterations = 6;
    PfxBuilder builder;
    ASSERT_EQ(RunTool("verify", builder.Build()), 0);
    builder.iterationOctets = {0x7F, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(RunTool("verify", builder.Build()), kTooManyIterations);
    const Bytes algorithm =
        AlgorithmWith(Join({kSalt, Element(0x02, builder.iterationOctets), kFunction}));
    EXPECT_EQ(RunTool("restore", DocumentOf({EncryptedWith(algorithm, Element(0x80, {1})),
                                             PlainContentInfo({})})),
              kTooManyIterations);
    EXPECT_EQ(RunTool("restore", DocumentOf({EncryptedContentInfo({}),
                                             PlainContentInfo({KeyBagWith(algorithm)})})),
              kTooManyIterations);
}

// Identifiers tie a certificate to its key; whoever asks learns that they don't belong together.
void ExpectTiedToAnotherKey(const OpenStore& store) {
    ASSERT_NE(store.Get(), nullptr) << std::hex << GetLastError();
    EXPECT_EQ(GetLastError(), 0U);
    const test_support::Certificate restored(store.First());
    HCRYPTPROV context = 0;
    DWORD keySpec = 0;
    BOOL isCallers = FALSE;
    EXPECT_FALSE(CryptAcquireCertificatePrivateKey(restored.Get(), CRYPT_ACQUIRE_COMPARE_KEY_FLAG,
                                                   nullptr, &context, &keySpec, &isCallers));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_PUBLIC_KEY));
    ASSERT_TRUE(CryptAcquireCertificatePrivateKey(restored.Get(), 0, nullptr, &context, &keySpec,
                                                  &isCallers));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
}

TEST_F(PastDefects, ACertificateOfAnotherKeyIsTiedByItsIdentifier) {
    const test_support::KeyStore other;
    const Bytes certificate = other.AddKey("other", 0x2E49);
    const Bytes id = LocalKeyId({1, 0, 0, 0});
    const Bytes bag = CertificateBag{certificate, {id}}.Build();
    ExpectTiedToAnotherKey(
        Restore(DocumentOf({EncryptedContentInfo({bag}), PlainContentInfo({KeyWith({id})})})));
}

// 128 octets where the algorithm has 64.
TEST_F(PastDefects, ACertificateWithAPublicKeyLongerThanItsTypeIsTiedByItsIdentifier) {
    const Bytes publicKey = Join({{0}, Element(0x04, Bytes(128, 0x11))});
    const Bytes id = LocalKeyId({1, 0, 0, 0});
    const Bytes bag = CertificateBag{MakeCertificate("leaf", "ca", 1, publicKey), {id}}.Build();
    ExpectTiedToAnotherKey(
        Restore(DocumentOf({EncryptedContentInfo({bag}), PlainContentInfo({KeyWith({id})})})));
}

}  // namespace
