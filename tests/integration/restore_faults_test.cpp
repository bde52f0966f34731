// Every call that a restore makes of its platform fails in turn, once, and then with all after it.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "integration/fault_tally.h"
#include "mvlpfx/mvlpfx.h"
#include "support/import_fixture.h"

namespace {

using test_support::Bytes;
using test_support::CertificateBag;
using test_support::KeyBag;
using test_support::kInjected;
using test_support::LocalKeyId;

constexpr std::size_t kKeys = 2;
constexpr std::size_t kCertificates = 3;
constexpr DWORD kInvalidPassword = ERROR_INVALID_PASSWORD;
constexpr DWORD kFail = static_cast<DWORD>(NTE_FAIL);

using Log = std::vector<std::string>;

// The steps of a restore, in their order.
enum class Step {
    kPassword,
    kLook,
    kVerify,
    kOpenStore,
    kDecrypt,
    kAdd,
    kContainer,
    kUnwrap,
    kTie
};

struct Place {
    Step step;
    // Counted from 1; 0 before the keys.
    std::size_t key = 0;
    std::string call;
    // Whether the call creates a container.
    bool isCreation = false;
    // Whether its failure changes nothing.
    bool isSpare = false;
    // Counted from 1 where certificates are added.
    std::size_t certificate = 0;
};

// Where each call of a restore stands, told by the calls that end the steps.
std::vector<Place> PlacesOf(const Log& log) {
    std::vector<Place> places;
    Place now{Step::kPassword, 0, "", false, false, 0};
    int acquisitions = 0;
    int keyParams = 0;
    for (const std::string& call : log) {
        const bool startsKey =
            call == "CryptFindOIDInfo" && (now.step == Step::kAdd || now.step == Step::kTie);
        if (call == "PFXIsPFXBlob") {
            now.step = Step::kLook;
        } else if (now.step == Step::kLook) {
            now.step = Step::kVerify;
        }
        if (call == "CertOpenStore") {
            now.step = Step::kOpenStore;
        } else if (now.step == Step::kOpenStore) {
            now.step = Step::kDecrypt;
        }
        if (startsKey) {
            now.step = Step::kContainer;
            ++now.key;
            acquisitions = 0;
        }
        acquisitions += call == "CryptAcquireContextA" ? 1 : 0;
        now.certificate += now.step == Step::kAdd && call == "CertCreateCertificateContext" ? 1 : 0;
        now.call = call;
        // Two probes come before it.
        now.isCreation =
            now.step == Step::kContainer && call == "CryptAcquireContextA" && acquisitions == 3;
        // The first parameter is the password, on the key that carries it into the HMACs; the
        // second the session key's value, which can be set in another way.
        keyParams += call == "CryptSetKeyParam" ? 1 : 0;
        now.isSpare = call == "CryptSetKeyParam" && keyParams == 2 &&
                      (now.step == Step::kDecrypt || now.step == Step::kUnwrap);
        places.push_back(now);
        if (now.isCreation || now.step == Step::kOpenStore) {
            keyParams = 0;
        }
        if (now.isCreation) {
            now.step = Step::kUnwrap;
        } else if (call == "CryptDecrypt") {
            now.step = Step::kAdd;
        } else if (call == "CryptImportKey") {
            now.step = Step::kTie;
        }
    }
    // Taking a certificate for another one is no loss where it is another one.
    for (std::size_t i = 0; i + 1 < places.size(); ++i) {
        if (places[i].call == "CertCompareCertificate") {
            places[i].isSpare = places[i + 1].call != "CertSetCertificateContextProperty";
        }
    }
    return places;
}

bool IsTextCall(const std::string& call) {
    return call == "MultiByteToWideChar" || call == "WideCharToMultiByte" || call == "HeapAlloc";
}

// What a restore came to.
struct Outcome {
    bool hasStore = false;
    DWORD error = 0;
    std::size_t containers = 0;
    std::size_t certificates = 0;
    std::size_t tied = 0;
};

Outcome Failure(DWORD error, std::size_t containers = 0) {
    return {false, error, containers, 0, 0};
}

Outcome Success(std::size_t certificates = kCertificates, std::size_t tied = kKeys) {
    return {true, 0, kKeys, certificates, tied};
}

// The word of a step that derives a key. Text that can't be converted is no password.
DWORD WordOf(const std::string& call) {
    if (call == "CryptFindOIDInfo") {
        return test_support::kBadAlgorithm;
    }
    return IsTextCall(call) ? kInvalidPassword : kInjected;
}

Outcome ExpectedOfOne(const Place& place) {
    if (place.isSpare) {
        return Success();
    }
    switch (place.step) {
        case Step::kPassword:
            return Failure(kInvalidPassword);
        case Step::kLook:
            return Failure(test_support::kBadData);
        case Step::kVerify:
            // The second attempt makes good for the first, and nobody reads the wide copy.
            return Success();
        case Step::kOpenStore:
            return Failure(kInjected);
        case Step::kDecrypt:
            return Failure(WordOf(place.call));
        case Step::kAdd:
            // The first certificates are those of the keys.
            return Success(kCertificates - 1, place.certificate <= kKeys ? kKeys - 1 : kKeys);
        case Step::kContainer:
            if (place.isCreation || place.call == "CryptFindOIDInfo") {
                return Failure(WordOf(place.call), place.key - 1);
            }
            // A name that can't be read or probed gives way to another.
            return Success();
        case Step::kUnwrap:
            return Failure(WordOf(place.call), place.key);
        case Step::kTie:
            // A name that can't be made wide is recorded as empty.
            return Success(kCertificates, IsTextCall(place.call) ? kKeys : kKeys - 1);
    }
    return {};
}

Outcome ExpectedOfAll(const Place& place) {
    switch (place.step) {
        case Step::kPassword:
        case Step::kLook:
            return Failure(test_support::kBadData);
        case Step::kVerify:
        case Step::kOpenStore:
            return Failure(kInjected);
        case Step::kDecrypt:
            return Failure(WordOf(place.call));
        case Step::kAdd:
            return Failure(test_support::kBadAlgorithm);
        case Step::kContainer:
            return Failure(IsTextCall(place.call) ? kInjected : WordOf(place.call), place.key - 1);
        case Step::kUnwrap:
            return Failure(WordOf(place.call), place.key);
        case Step::kTie:
            return place.key < kKeys ? Failure(test_support::kBadAlgorithm, place.key)
                                     : Success(kCertificates, kKeys - 1);
    }
    return {};
}

class RestoreFaultsTest : public test_support::ImportTest {
  protected:
    using Function = HCERTSTORE (*)(const PfxBlob*, LPCWSTR, DWORD);

    static Bytes MakeDocument() {
        test_support::Encryption cheap;
        cheap.iterations = 1;
        const std::vector<Bytes> ids = {LocalKeyId({1, 0, 0, 0}), LocalKeyId({2, 0, 0, 0})};
        std::vector<Bytes> keys;
        std::vector<Bytes> certificates;
        for (std::uint8_t number = 1; number <= kKeys; ++number) {
            KeyBag key;
            key.encryption = cheap;
            key.privateKey = test_support::PrivateKey(number);
            key.attributes = {ids[number - 1U]};
            if (number == 1) {
                key.attributes.push_back(test_support::FriendlyName(u"named"));
            }
            keys.push_back(key.Build());
            const Bytes certificate = test_support::MakeCertificate("leaf", "ca", number);
            certificates.push_back(CertificateBag{certificate, {ids[number - 1U]}}.Build());
        }
        certificates.push_back(
            CertificateBag{test_support::MakeCertificate("ca", "ca", 9), {}}.Build());
        test_support::PfxBuilder builder;
        builder.iterations = 1;
        builder.iterationOctets = {1};
        builder.authSafe = test_support::Element(
            0x30, test_support::Join({test_support::EncryptedContentInfo(certificates, cheap),
                                      test_support::PlainContentInfo(keys)}));
        return builder.Build();
    }

    // Restores into a profile of its own with the n-th call failing (0: none), and counts what is
    // left.
    Outcome Restore(Function restore, int n, bool stay) {
        const test_support::ContainerHome home;
        Bytes document = document_;
        const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
        Calls().Reset();
        if (n != 0) {
            Calls().FailFrom(n, stay, kInjected);
        }
        HCERTSTORE const store = restore(&pfx, L"Password1", 0);
        Outcome outcome{store != nullptr, GetLastError(), home.FilesOfUser().size(), 0, 0};
        EXPECT_EQ(Calls().Failed(), n != 0);
        ExpectOpen(store != nullptr ? 1 : 0);
        log_ = Calls().Log();
        Calls().Reset();
        if (store != nullptr) {
            for (const auto& place : test_support::KeyPlacesOf(store)) {
                ++outcome.certificates;
                outcome.tied += place ? 1 : 0;
            }
            CertCloseStore(store, 0);
        }
        Calls().Reset();
        return outcome;
    }

    static void ExpectOpen(int stores) {
        EXPECT_EQ(Calls().OpenStores(), stores);
        EXPECT_EQ(Calls().OpenContexts(), 0);
        EXPECT_EQ(Calls().OpenKeys(), 0);
        EXPECT_EQ(Calls().OpenHashes(), 0);
        EXPECT_EQ(Calls().OpenCertificates(), 0);
        EXPECT_EQ(Calls().OpenHeapBlocks(), 0);
        EXPECT_EQ(Calls().OpenRegistryKeys(), 0);
    }
    static void ExpectOutcome(const Outcome& actual, const Outcome& expected) {
        EXPECT_EQ(actual.hasStore, expected.hasStore);
        EXPECT_EQ(actual.error, expected.error) << std::hex << actual.error;
        EXPECT_EQ(actual.containers, expected.containers);
        EXPECT_EQ(actual.certificates, expected.certificates);
        EXPECT_EQ(actual.tied, expected.tied);
    }

    // The calls of a restore in which none fails.
    Log CallsOf(Function restore) {
        ExpectOutcome(Restore(restore, 0, false), Success());
        return log_;
    }

    const Bytes document_ = MakeDocument();
    // Of the last restore.
    Log log_;
};

TEST_F(RestoreFaultsTest, EveryCallThatFailsOnceIsToldAndNothingLeaks) {
    const std::vector<Place> places = PlacesOf(CallsOf(UzRestorePFX));
    ASSERT_GT(places.size(), 150u);
    EXPECT_EQ(places.back().key, kKeys);
    test_support::TellPoints("calls of UzRestorePFX, one fails", places.size());
    for (std::size_t i = 0; i < places.size(); ++i) {
        SCOPED_TRACE(std::to_string(i + 1) + " " + places[i].call);
        ExpectOutcome(Restore(UzRestorePFX, static_cast<int>(i) + 1, false),
                      ExpectedOfOne(places[i]));
    }
}

TEST_F(RestoreFaultsTest, AllCallsFailingFromEachOneOnIsToldAndNothingLeaks) {
    const std::vector<Place> places = PlacesOf(CallsOf(UzRestorePFX));
    test_support::TellPoints("calls of UzRestorePFX, all from one on fail", places.size());
    for (std::size_t i = 0; i < places.size(); ++i) {
        SCOPED_TRACE(std::to_string(i + 1) + " " + places[i].call);
        ExpectOutcome(Restore(UzRestorePFX, static_cast<int>(i) + 1, true),
                      ExpectedOfAll(places[i]));
    }
}

// The restore itself comes first, call for call; what follows never takes the store away.
TEST_F(RestoreFaultsTest, APlacementThatFailsLeavesTheStoreAndItsWord) {
    constexpr int kSystemStores = 3;
    const Log restore = CallsOf(UzRestorePFX);
    const Log log = CallsOf(UzRestorePFXToSystemStorage);
    ASSERT_GT(log.size(), restore.size());
    EXPECT_TRUE(std::equal(restore.begin(), restore.end(), log.begin()));
    test_support::TellPoints("calls of UzRestorePFXToSystemStorage after the restore, each way",
                             log.size() - restore.size());
    for (std::size_t i = restore.size(); i < log.size(); ++i) {
        SCOPED_TRACE(std::to_string(i + 1) + " " + log[i]);
        const auto from = log.begin() + static_cast<std::ptrdiff_t>(i);
        Outcome expected = Success();

        // The last chain's word is the one that is left.
        const auto opened = std::count(from, log.end(), "CertOpenStore");
        expected.error = log[i] == "CertOpenStore" && opened <= kSystemStores ? kFail : 0;
        ExpectOutcome(Restore(UzRestorePFXToSystemStorage, static_cast<int>(i) + 1, false),
                      expected);

        // Without properties there is no further chain.
        const auto next = std::find_if(from, log.end(), [](const std::string& call) {
            return call == "CertOpenStore" || call == "CertGetCertificateContextProperty" ||
                   call == "CertEnumCertificatesInStore";
        });
        expected.error = next != log.end() && *next == "CertOpenStore" ? kFail : 0;
        ExpectOutcome(Restore(UzRestorePFXToSystemStorage, static_cast<int>(i) + 1, true),
                      expected);
    }
}

TEST_F(RestoreFaultsTest, APinThatIsRefusedEndsTheRestore) {
    pkisdk::ImportControlFlags = 1;
    ExpectOutcome(Restore(UzRestorePFX, 0, false), Success());
    const auto pin = std::find(log_.begin(), log_.end(), "CryptSetProvParam");
    ASSERT_NE(pin, log_.end());
    ExpectOutcome(Restore(UzRestorePFX, static_cast<int>(pin - log_.begin()) + 1, false),
                  Failure(kInjected, 1));
}

}  // namespace
