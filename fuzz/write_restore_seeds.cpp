// Writes seeds for the target `restore`: write_restore_seeds FOLDER. Documents of this module,
// whose two iterations the cheap derivation stands for, and of OpenSSL; their bags and private keys
// on their own; and the same with one element missing, opened or cut.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/key_store.h"
#include "support/key_vectors.h"
#include "support/peer_openssl.h"
#include "support/safe_bags.h"

namespace {

using test_support::Bytes;
using test_support::CertificateBag;
using test_support::Join;
using test_support::JoinAll;
using test_support::KeyBag;

constexpr Bytes::value_type kDocument = 0;
constexpr Bytes::value_type kBags = 1;
constexpr Bytes::value_type kPrivateKey = 2;
constexpr Bytes::value_type kExportable = 0x40;
constexpr DWORD kWithNames = 0x10;

class SeedFolder {
  public:
    explicit SeedFolder(std::filesystem::path folder) : folder_(std::move(folder)) {
        std::filesystem::create_directories(folder_);
    }
    void Write(const std::string& name, Bytes::value_type kind, const Bytes& rest) const {
        std::ofstream file(folder_ / name, std::ios::binary);
        file.put(static_cast<char>(kind));
        file.write(reinterpret_cast<const char*>(rest.data()),
                   static_cast<std::streamsize>(rest.size()));
    }
    // The same cut short, and with an octet changed that is a length or a tag more often than not.
    void WriteDamaged(const std::string& name, Bytes::value_type kind, const Bytes& rest) const {
        constexpr std::size_t kVariants = 6;
        for (std::size_t i = 1; i <= kVariants; ++i) {
            const std::size_t place = rest.size() * i / (kVariants + 1);
            const auto at = rest.begin() + static_cast<std::ptrdiff_t>(place);
            Write(name + "-cut-" + std::to_string(i), kind, Bytes(rest.begin(), at));
            Bytes changed = rest;
            changed[place] ^= 0x81;
            Write(name + "-changed-" + std::to_string(i), kind, changed);
        }
    }

  private:
    const std::filesystem::path folder_;
};

Bytes Create(HCERTSTORE store, DWORD flags) {
    PfxBlob pfx{0, nullptr};
    UzCreatePFX(store, &pfx, L"Password1", flags);
    Bytes document(pfx.cbData);
    pfx.pbData = document.data();
    if (document.empty() || !UzCreatePFX(store, &pfx, L"Password1", flags)) {
        std::cerr << "no document: " << std::hex << GetLastError() << '\n';
    }
    return document;
}

void WriteOwn(const SeedFolder& seeds, const std::string& name, const std::vector<ALG_ID>& keys,
              DWORD flags) {
    const test_support::KeyStore store;
    for (const ALG_ID algorithm : keys) {
        store.AddKey("Ключ " + std::to_string(algorithm), algorithm);
    }
    store.Add(test_support::Chain().root);
    const Bytes document = Create(store.Get(), flags);
    seeds.Write(name, kDocument, document);
    seeds.WriteDamaged(name, kDocument, document);
}

void WritePeers(const SeedFolder& seeds) {
    test_support::PeerOpenssl peer;
    for (const std::string set : {"gost2001", "gost2012_256", "gost2012_512"}) {
        peer.Run("genpkey -algorithm " + set + " -pkeyopt paramset:A -out key");
        peer.Run("req -new -x509 -key key -subj /CN=" + set + " -days 36500 -out cert");
        const int code = peer.Run(
            "pkcs12 -export -inkey key -in cert -keypbe gost89 -certpbe gost89 -iter 1 -macalg "
            "md_gost12_512 -passout pass:Password1 -out document -name 'Имя ключа'");
        if (code != 0) {
            std::cerr << peer.Output();
        }
        const Bytes document = peer.Read("document");
        seeds.Write("openssl-" + set, kDocument, document);
        seeds.WriteDamaged("openssl-" + set, kDocument, document);
    }
}

Bytes BagsInput(const Bytes& certificates, const Bytes& keys) {
    const auto size = static_cast<unsigned>(certificates.size());
    return Join({{static_cast<std::uint8_t>(size >> 8), static_cast<std::uint8_t>(size)},
                 certificates,
                 keys});
}

// One pair for each road by which a key finds its certificate, one attribute without a value, and
// a bag in a bag.
void WriteBags(const SeedFolder& seeds) {
    const auto byNumber = test_support::LocalKeyId({1, 0, 0, 0});
    const auto byHash = test_support::LocalKeyId(Bytes(20, 7));
    const auto name = test_support::FriendlyName(u"Имя");
    const auto machine = test_support::Attribute("1.3.6.1.4.1.311.17.2", {});
    const auto empty = test_support::Attribute("1.2.840.113549.1.9.20", {});
    const Bytes leaf = test_support::MakeCertificate("leaf", "ca");
    const Bytes certificates =
        Join({CertificateBag{leaf, {byNumber}}.Build(), CertificateBag{leaf, {byHash}}.Build(),
              CertificateBag{test_support::MakeCertificate("ca", "ca", 2), {}}.Build()});
    // A key of the machine's after one of the user's would take the name of that one.
    const std::vector<std::pair<std::string, std::vector<Bytes>>> keys = {
        {"machine", {machine}},      {"number", {byNumber}}, {"hash", {byHash}},
        {"named", {name, byNumber}}, {"bare", {}},           {"no-value", {empty}},
    };
    Bytes all;
    for (const auto& [label, attributes] : keys) {
        KeyBag key;
        key.attributes = attributes;
        const Bytes bag = key.Build();
        seeds.Write("bags-" + label, kBags, BagsInput(certificates, bag));
        all = Join({all, bag});
    }
    seeds.Write("bags-all", kBags | kExportable, BagsInput(certificates, all));
    seeds.WriteDamaged("bags-all", kBags, BagsInput(certificates, all));
    KeyBag outer;
    outer.attributes = {test_support::Attribute("1.2.3", {all})};
    seeds.Write("bags-nested", kBags, BagsInput(certificates, outer.Build()));
}

void WritePrivateKeys(const SeedFolder& seeds) {
    for (const test_support::KeyVector& key : test_support::ReadKeyVectors()) {
        seeds.Write("key-" + key.algorithm + "-" + key.curve, kPrivateKey, key.privateKeyInfo);
    }
    seeds.WriteDamaged("key", kPrivateKey, test_support::PrivateKey());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: write_restore_seeds FOLDER\n";
        return 2;
    }
    const SeedFolder seeds(argv[1]);
    WriteOwn(seeds, "own-2001", {0x2E23}, kWithNames);
    WriteOwn(seeds, "own-2012-256", {0x2E49}, 0);
    WriteOwn(seeds, "own-2012-512", {0x2E3D}, kWithNames);
    WriteOwn(seeds, "own-three", {0x2E23, 0x2E49, 0x2E3D}, kWithNames);
    WritePeers(seeds);
    WriteBags(seeds);
    WritePrivateKeys(seeds);
    return 0;
}
