// Writes documents that a restore makes something particular of: write_restore_documents FOLDER.
// The password of all is Password1.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "support/safe_bags.h"

namespace {

using test_support::Bytes;
using test_support::CertificateBag;
using test_support::KeyBag;

const Bytes kFirstId(20, 1);
const Bytes kSecondId(20, 2);

KeyBag FirstKey() {
    KeyBag key;
    key.attributes = {test_support::FriendlyName(u"kept"), test_support::LocalKeyId(kFirstId)};
    return key;
}

KeyBag SecondKey() {
    KeyBag key;
    key.privateKey = test_support::PrivateKey(2);
    key.attributes = {test_support::LocalKeyId(kSecondId)};
    return key;
}

// The first key's certificate, and one that belongs to no key.
Bytes DocumentOfKeys(const KeyBag& second) {
    const Bytes leaf = test_support::MakeCertificate("leaf", "ca");
    const Bytes ca = test_support::MakeCertificate("ca", "ca");
    return test_support::DocumentOf(
        {test_support::EncryptedContentInfo(
             {CertificateBag{leaf, {test_support::LocalKeyId(kFirstId)}}.Build(),
              CertificateBag{ca, {}}.Build()}),
         test_support::PlainContentInfo({FirstKey().Build(), second.Build()})});
}

void Write(const std::filesystem::path& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: write_restore_documents FOLDER\n";
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    std::filesystem::create_directories(folder);
    Write(folder / "untied.pfx", DocumentOfKeys(SecondKey()));
    KeyBag damaged = SecondKey();
    damaged.privateKey = {1, 2, 3};
    Write(folder / "damaged-second-key.pfx", DocumentOfKeys(damaged));
    KeyBag unknown = SecondKey();
    unknown.encryption.cipher = "1.2.643.2.2.127";
    Write(folder / "unknown-second-cipher.pfx", DocumentOfKeys(unknown));
    return 0;
}
