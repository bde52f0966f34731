// Writes documents that a restore makes something particular of: write_restore_documents FOLDER.
// The password of all is Password1.
#include <algorithm>
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
Bytes Certificates() {
    const Bytes leaf = test_support::MakeCertificate("leaf", "ca");
    const Bytes ca = test_support::MakeCertificate("ca", "ca");
    return test_support::EncryptedContentInfo(
        {CertificateBag{leaf, {test_support::LocalKeyId(kFirstId)}}.Build(),
         CertificateBag{ca, {}}.Build()});
}

Bytes DocumentOfBags(const std::vector<Bytes>& bags) {
    return test_support::DocumentOf({Certificates(), test_support::PlainContentInfo(bags)});
}

Bytes DocumentOfKeys(const KeyBag& second) {
    return DocumentOfBags({FirstKey().Build(), second.Build()});
}

KeyBag SecondKeyWith(const Bytes& attribute) {
    KeyBag key = SecondKey();
    key.attributes = {attribute};
    return key;
}

// A key whose friendly name is of this type, before one whose identifier is no OCTET STRING.
Bytes DocumentOfNameBeforeMalformed(std::uint8_t tag) {
    KeyBag named = FirstKey();
    named.attributes = {
        test_support::Attribute("1.2.840.113549.1.9.20", {test_support::Element(tag, {'1', '2'})}),
        test_support::LocalKeyId(kFirstId)};
    const Bytes number = test_support::Element(0x02, {5});
    return DocumentOfBags(
        {named.Build(),
         SecondKeyWith(test_support::Attribute("1.2.840.113549.1.9.21", {number})).Build()});
}

// A bag that says that it is a key's and holds nothing, before a key of 3000 iterations.
Bytes DocumentOfHollowBag() {
    KeyBag key = FirstKey();
    key.encryption.iterations = 3000;
    const Bytes hollow =
        test_support::Element(0x30, test_support::Oid("1.2.840.113549.1.12.10.1.2"));
    return DocumentOfBags({hollow, key.Build()});
}

// Attributes of an unknown type, and one whose value is not of its type's; a bag whose certificate
// is none.
Bytes DocumentOfAttributes() {
    KeyBag key = FirstKey();
    key.attributes.push_back(
        test_support::Attribute("1.3.6.1.4.1.311.17.1", {test_support::Element(0x0C, {'x'})}));
    key.attributes.push_back(test_support::Attribute("1.3.6.1.4.1.311.17.2", {}));
    const Bytes leaf = test_support::MakeCertificate("leaf", "ca", 0x7F);
    const Bytes number = test_support::Element(0x02, {5});
    const CertificateBag certificate{
        leaf,
        {test_support::Attribute("1.2.3.4", {number, test_support::Element(0x01, {0xFF})}),
         test_support::Attribute("1.2.840.113549.1.9.20", {number}),
         test_support::LocalKeyId(kFirstId)}};
    return test_support::DocumentOf({test_support::EncryptedContentInfo(
                                         {certificate.Build(), CertificateBag{number, {}}.Build()}),
                                     test_support::PlainContentInfo({key.Build()})});
}

// Both keys have the identifier of one certificate.
Bytes DocumentOfSharedCertificate() {
    KeyBag second = SecondKey();
    second.attributes = {test_support::LocalKeyId(kFirstId)};
    return DocumentOfKeys(second);
}

// As GnuTLS writes it, but with few iterations.
Bytes DocumentWithoutPrfParameters() {
    test_support::Encryption encryption;
    encryption.withPrfParameters = false;
    const CertificateBag leaf{test_support::MakeCertificate("leaf", "ca"), {}};
    return test_support::DocumentOf({test_support::EncryptedContentInfo({leaf.Build()}, encryption),
                                     test_support::PlainContentInfo({FirstKey().Build()})});
}

// As another provider's would be.
Bytes DocumentOfUnknownCertificateCipher() {
    test_support::Encryption encryption;
    encryption.cipher = "1.2.643.2.2.127";
    const CertificateBag leaf{test_support::MakeCertificate("leaf", "ca"), {}};
    return test_support::DocumentOf({test_support::EncryptedContentInfo({leaf.Build()}, encryption),
                                     test_support::PlainContentInfo({FirstKey().Build()})});
}

// The certificates alone, of a type that is not data.
Bytes DocumentOfOneData() {
    const Bytes data = test_support::Oid("1.2.840.113549.1.7.1");
    Bytes content = Certificates();
    const auto at = std::search(content.begin(), content.end(), data.begin(), data.end());
    *(at + static_cast<std::ptrdiff_t>(data.size()) - 1) = 9;
    return test_support::DocumentOf({content});
}

Bytes Bag(const std::string& type, const Bytes& value) {
    return test_support::Element(
        0x30, test_support::Join({test_support::Oid(type), test_support::Element(0xA0, value)}));
}

// Besides what a restore takes one of each that it passes over.
Bytes DocumentOfPassedOver() {
    const Bytes secret = Bag("1.2.840.113549.1.12.10.1.5", test_support::Element(0x30, {}));
    const Bytes plainKey = Bag("1.2.840.113549.1.12.10.1.1", test_support::PrivateKey());
    const Bytes hollow =
        test_support::Element(0x30, test_support::Oid("1.2.840.113549.1.12.10.1.2"));
    const Bytes other = test_support::Element(
        0x30, test_support::Join({test_support::Oid("1.2.840.113549.1.7.3"),
                                  test_support::Element(0xA0, test_support::Element(0x30, {}))}));
    const auto certificate = [](const std::string& name) {
        return CertificateBag{test_support::MakeCertificate(name, name), {}}.Build();
    };
    const Bytes leaf = CertificateBag{
        test_support::MakeCertificate("leaf", "ca"),
        {test_support::LocalKeyId(
            kFirstId)}}.Build();
    return test_support::DocumentOf(
        {test_support::EncryptedContentInfo({leaf, SecondKey().Build(), secret}),
         test_support::EncryptedContentInfo({certificate("second")}),
         test_support::PlainContentInfo(
             {FirstKey().Build(), certificate("clear"), plainKey, hollow}),
         other});
}

// The certificates are encrypted under another password than the integrity value's.
Bytes DocumentOfJunk() {
    const CertificateBag leaf{test_support::MakeCertificate("leaf", "ca"), {}};
    return test_support::DocumentOf(
        {test_support::EncryptedContentInfo({leaf.Build()}, {}, "another"),
         test_support::PlainContentInfo({FirstKey().Build()})});
}

// The element in BER, with an end-of-contents behind its value.
Bytes Indefinite(const Bytes& element) {
    const std::size_t octets = (element[1] & 0x80) == 0 ? 0 : element[1] & 0x7F;
    Bytes written{element[0], 0x80};
    written.insert(written.end(), element.begin() + 2 + static_cast<std::ptrdiff_t>(octets),
                   element.end());
    written.insert(written.end(), 2, 0);
    return written;
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
    Write(
        folder / "unknown-before-malformed.pfx",
        DocumentOfBags({unknown.Build(), SecondKeyWith(test_support::Element(0x30, {})).Build()}));
    Write(folder / "unknown-certificate-cipher.pfx", DocumentOfUnknownCertificateCipher());
    Write(
        folder / "malformed-before-unknown.pfx",
        DocumentOfBags({SecondKeyWith(test_support::Element(0x30, {})).Build(), unknown.Build()}));
    Write(folder / "hollow-bag.pfx", DocumentOfHollowBag());
    Write(folder / "one-data.pfx", DocumentOfOneData());
    Write(folder / "malformed-attribute.pfx",
          DocumentOfKeys(SecondKeyWith(test_support::Element(0x30, {}))));
    Write(folder / "attribute-without-value.pfx",
          DocumentOfKeys(SecondKeyWith(test_support::Attribute("1.2.840.113549.1.9.21", {}))));
    for (const std::uint8_t tag : Bytes{0x0C, 0x12, 0x13, 0x16, 0x1E}) {
        Write(folder / ("name-" + std::to_string(tag) + "-before-malformed.pfx"),
              DocumentOfNameBeforeMalformed(tag));
    }
    Write(
        folder / "machine-key.pfx",
        DocumentOfBags({SecondKeyWith(test_support::Attribute("1.3.6.1.4.1.311.17.2", {})).Build(),
                        FirstKey().Build()}));
    Write(folder / "shared-certificate.pfx", DocumentOfSharedCertificate());
    Write(folder / "no-prf-parameters.pfx", DocumentWithoutPrfParameters());
    Write(folder / "attributes.pfx", DocumentOfAttributes());
    Write(folder / "passed-over.pfx", DocumentOfPassedOver());
    Write(folder / "junk.pfx", DocumentOfJunk());
    Write(folder / "indefinite-content.pfx",
          test_support::DocumentOf(
              {Certificates(), Indefinite(test_support::PlainContentInfo({FirstKey().Build()}))}));
    KeyBag named = FirstKey();
    named.attributes[0] = Indefinite(named.attributes[0]);
    Write(folder / "indefinite-attribute.pfx", DocumentOfBags({named.Build()}));
    named.attributes.push_back(
        test_support::Attribute("1.2.3.4", {test_support::Oid("1.2.840.113549.1.12.10.1.2")}));
    Write(folder / "indefinite-attribute-of-a-type.pfx", DocumentOfBags({named.Build()}));
    Write(folder / "indefinite-key.pfx", DocumentOfBags({Indefinite(FirstKey().Build())}));
    damaged.attributes = {test_support::FriendlyName(u"two\nlines")};
    Write(folder / "two-lines.pfx", DocumentOfKeys(damaged));
    return 0;
}
