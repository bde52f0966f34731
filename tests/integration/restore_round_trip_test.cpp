// Stores of every make-up, written to a document, restored into an empty profile, written again and
// restored again: the same certificates tied to the same keys each time.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/key_store.h"
#include "support/safe_bags.h"
#include "support/store_content.h"

namespace {

using test_support::Bytes;
using test_support::CertificateBytes;
using test_support::KeyStore;
using test_support::OpenStore;
using test_support::ReadStore;
using test_support::StoreContent;

constexpr DWORD kWithNames = 0x10;

// Rounds are dealt out to several tests, so that they run side by side. They are built twice: many
// rounds over the cheap derivation of the fuzz targets, and some over the true one, of which most
// of a round is made.
constexpr unsigned kShards = 4;
constexpr unsigned kRounds = MVLPFX_ROUNDS;

struct Curve {
    ALG_ID algorithm;
    const char* identifier;
};
// The keys of a restore are exchange keys, so the second round is of those.
constexpr std::array kCurves = {
    Curve{0x2E23, "1.2.643.2.2.35.1"},    Curve{0x2E23, "1.2.643.2.2.35.2"},
    Curve{0x2E23, "1.2.643.2.2.35.3"},    Curve{0x2E49, "1.2.643.2.2.35.1"},
    Curve{0x2E49, "1.2.643.7.1.2.1.1.1"}, Curve{0x2E49, "1.2.643.7.1.2.1.1.2"},
    Curve{0x2E49, "1.2.643.7.1.2.1.1.3"}, Curve{0x2E49, "1.2.643.7.1.2.1.1.4"},
    Curve{0x2E3D, "1.2.643.7.1.2.1.2.1"}, Curve{0x2E3D, "1.2.643.7.1.2.1.2.2"},
    Curve{0x2E3D, "1.2.643.7.1.2.1.2.3"},
};

// What a round draws, the same for the same number of the round on every machine; but for the keys,
// which the provider draws.
class Draw {
  public:
    explicit Draw(unsigned round) : random_(round) {}

    unsigned Below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
    bool OneIn(unsigned count) { return Below(count) == 0; }
    template <typename Collection>
    const auto& From(const Collection& items) {
        return items[Below(static_cast<unsigned>(items.size()))];
    }

    // Of 1 to 32 octets in UTF-8.
    std::wstring Password() {
        const unsigned size = 1 + Below(32);
        std::wstring password;
        for (unsigned left = size; left > 0;) {
            const bool isCyrillic = left >= 2 && OneIn(2);
            password.push_back(
                static_cast<wchar_t>(isCyrillic ? 0x0410 + Below(64) : 0x20 + Below(95)));
            left -= isCyrillic ? 2 : 1;
        }
        return password;
    }
    // For `used` no name of before.
    std::string ContainerName(std::set<std::string>* used) {
        static const std::vector<std::string> words = {"Ключ", "ключ",  "подпись",    "key",
                                                       "KEY",  "a b c", "№ 5 «новый»"};
        std::string name = From(words);
        while (!used->insert(name).second) {
            name += OneIn(2) ? " ещё" : "'";
        }
        return name;
    }

  private:
    std::mt19937 random_;
};

// Up to four keys, with one certificate each or now and then two, and up to four certificates
// without, some of them there twice. Not nothing at all, of which no document is made.
void FillStore(Draw* draw, const KeyStore& store, std::set<std::string>* names) {
    constexpr std::array kKeyCounts = {0U, 1U, 1U, 1U, 1U, 2U, 2U, 3U, 4U};
    const unsigned keys = draw->From(kKeyCounts);
    const unsigned bare = draw->Below(5);
    for (unsigned i = 0; i < keys; ++i) {
        const Curve& curve = draw->From(kCurves);
        store.AddKey(draw->ContainerName(names), curve.algorithm, CRYPT_EXPORTABLE,
                     curve.identifier);
    }
    for (unsigned i = 0; i < bare || keys + i == 0; ++i) {
        const auto serial = static_cast<std::uint8_t>(1 + draw->Below(3));
        store.Add(
            test_support::MakeCertificate(draw->OneIn(2) ? "Издатель" : "issuer", "root", serial));
    }
    if (keys > 0 && draw->OneIn(8)) {
        const test_support::Certificate first(store.Store().First());
        store.Add({first->pbCertEncoded, first->pbCertEncoded + first->cbCertEncoded});
    }
}

Bytes Create(HCERTSTORE store, const std::wstring& password, DWORD flags) {
    Bytes document(std::size_t{1} << 16);
    PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    EXPECT_TRUE(UzCreatePFX(store, &pfx, password.c_str(), flags)) << std::hex << GetLastError();
    document.resize(pfx.cbData);
    return document;
}

// The names of all of the user's containers.
std::set<std::string> ContainerNames() {
    const test_support::VerifyContext context;
    std::set<std::string> names;
    std::array<BYTE, 1024> name{};
    auto size = static_cast<DWORD>(name.size());
    for (DWORD which = CRYPT_FIRST;
         CryptGetProvParam(context.Get(), PP_ENUMCONTAINERS, name.data(), &size, which);
         which = CRYPT_NEXT, size = static_cast<DWORD>(name.size())) {
        names.insert(reinterpret_cast<const char*>(name.data()));
    }
    return names;
}

// Of a system store, those that are tied to a key.
StoreContent TiedOf(StoreContent content) {
    std::erase_if(content, [](const auto& entry) { return !entry.second; });
    return content;
}

struct Round {
    std::wstring password;
    DWORD flags;
    StoreContent content;
    std::set<std::string> names;
};

// Restores into a profile of its own, and writes what is there to a document again.
Bytes RestoreAndCreate(const Round& round, bool isForSystem, Bytes document) {
    const test_support::ContainerHome home;
    const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    const auto restore = isForSystem ? UzRestorePFXToSystemStorage : UzRestorePFX;
    const OpenStore store(restore(&pfx, round.password.c_str(), CRYPT_EXPORTABLE));
    EXPECT_NE(store.Get(), nullptr) << std::hex << GetLastError();
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(ReadStore(store.Get()), round.content);
    const std::set<std::string> names = ContainerNames();
    EXPECT_EQ(names.size(), round.names.size());
    if ((round.flags & kWithNames) != 0) {
        EXPECT_EQ(names, round.names);
    }
    EXPECT_EQ(ReadStore(OpenStore(L"MY").Get()),
              isForSystem ? TiedOf(round.content) : StoreContent());
    return Create(store.Get(), round.password, round.flags);
}

class RestoreRoundTrip : public testing::TestWithParam<unsigned> {};

TEST_P(RestoreRoundTrip, KeepsCertificatesKeysAndTies) {
    for (unsigned number = GetParam(); number < kRounds; number += kShards) {
        SCOPED_TRACE("round " + std::to_string(number));
        Draw draw(number);
        const KeyStore store;
        Round round{draw.Password(), draw.OneIn(2) ? kWithNames : 0U, {}, {}};
        FillStore(&draw, store, &round.names);
        round.content = ReadStore(store.Get());
        Bytes document = Create(store.Get(), round.password, round.flags);
        const bool isForSystem = draw.OneIn(2);
        document = RestoreAndCreate(round, isForSystem, document);
        RestoreAndCreate(round, !isForSystem, document);
        if (HasFailure()) {
            return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Shards, RestoreRoundTrip, testing::Range(0U, kShards),
                         [](const auto& shard) {
                             return std::to_string(shard.param) + "_of_" + std::to_string(kRounds);
                         });

}  // namespace
