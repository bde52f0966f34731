#include "support/safe_bags.h"

#include <sstream>
#include <stdexcept>

namespace test_support {

namespace {

constexpr char kPbkdf2[] = "1.2.840.113549.1.5.12";
constexpr char kData[] = "1.2.840.113549.1.7.1";
constexpr char kEncryptedData[] = "1.2.840.113549.1.7.6";
constexpr char kShroudedKeyBag[] = "1.2.840.113549.1.12.10.1.2";
constexpr char kCertBag[] = "1.2.840.113549.1.12.10.1.3";
constexpr char kX509Certificate[] = "1.2.840.113549.1.9.22.1";
constexpr char kFriendlyName[] = "1.2.840.113549.1.9.20";
constexpr char kLocalKeyId[] = "1.2.840.113549.1.9.21";

constexpr std::uint8_t kInteger = 0x02;
constexpr std::uint8_t kOctetString = 0x04;
constexpr std::uint8_t kNull = 0x05;
constexpr std::uint8_t kUtf8String = 0x0C;
constexpr std::uint8_t kUtcTime = 0x17;
constexpr std::uint8_t kBmpString = 0x1E;
constexpr std::uint8_t kSequence = 0x30;
constexpr std::uint8_t kSet = 0x31;
constexpr std::uint8_t kContext0 = 0xA0;

Bytes Text(const std::string& text) {
    return {text.begin(), text.end()};
}

Bytes Integer(std::uint32_t value) {
    Bytes octets;
    for (int shift = 24; shift >= 0; shift -= 8) {
        octets.push_back(static_cast<std::uint8_t>(value >> shift));
    }
    while (octets.size() > 1 && octets[0] == 0 && octets[1] < 0x80) {
        octets.erase(octets.begin());
    }
    return Element(kInteger, octets);
}

ALG_ID HashOf(const std::string& prf) {
    if (prf == "1.2.643.2.2.10") {
        return 0x801E;
    }
    return prf == "1.2.643.7.1.1.4.1" ? 0x8021 : 0x8022;
}

Bytes Name(const std::string& commonName) {
    const Bytes attribute =
        Element(kSequence, Join({Oid("2.5.4.3"), Element(kUtf8String, Text(commonName))}));
    return Element(kSequence, Element(kSet, attribute));
}

Bytes SafeBag(const char* type, const Bytes& value, const std::vector<Bytes>& attributes) {
    return Element(kSequence, Join({Oid(type), Element(kContext0, value),
                                    Element(kSet, JoinAll(attributes))}));
}

}  // namespace

Bytes Oid(const std::string& dotted) {
    std::istringstream arcs(dotted);
    std::uint32_t first = 0;
    std::uint32_t arc = 0;
    char point = 0;
    if (!(arcs >> first >> point >> arc)) {
        throw std::invalid_argument(dotted);
    }
    Bytes content = {static_cast<std::uint8_t>(first * 40 + arc)};
    while (arcs >> point >> arc) {
        Bytes groups = {static_cast<std::uint8_t>(arc & 0x7F)};
        for (arc >>= 7; arc != 0; arc >>= 7) {
            groups.insert(groups.begin(), static_cast<std::uint8_t>(0x80 | (arc & 0x7F)));
        }
        content.insert(content.end(), groups.begin(), groups.end());
    }
    return Element(0x06, content);
}

Bytes JoinAll(const std::vector<Bytes>& parts) {
    Bytes out;
    for (const Bytes& part : parts) {
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

Bytes Encryption::AlgorithmIdentifier() const {
    const Bytes function =
        Element(kSequence, Join({Oid(prf), withPrfParameters ? Element(kNull, {}) : Bytes{}}));
    const Bytes derivation = Element(
        kSequence, Join({Oid(kPbkdf2), Element(kSequence, Join({Element(kOctetString, salt),
                                                                Integer(iterations), function}))}));
    const Bytes encryption = Element(
        kSequence,
        Join({Oid(cipher),
              Element(kSequence, Join({Element(kOctetString, vector), Oid(parameterSet)}))}));
    return Element(kSequence,
                   Join({Oid(scheme), Element(kSequence, Join({derivation, encryption}))}));
}

Bytes Encryption::Encrypt(const std::string& password, const Bytes& data) const {
    return ReferenceEncrypt(ReferencePbkdf2(HashOf(prf), password, salt, iterations, 32), vector,
                            parameterSet, data);
}

Bytes Attribute(const std::string& oid, const std::vector<Bytes>& values) {
    return Element(kSequence, Join({Oid(oid), Element(kSet, JoinAll(values))}));
}

Bytes LocalKeyId(const Bytes& id) {
    return Attribute(kLocalKeyId, {Element(kOctetString, id)});
}

Bytes FriendlyName(const std::u16string& name) {
    Bytes octets;
    for (const char16_t unit : name) {
        octets.push_back(static_cast<std::uint8_t>(unit >> 8));
        octets.push_back(static_cast<std::uint8_t>(unit));
    }
    return Attribute(kFriendlyName, {Element(kBmpString, octets)});
}

Bytes PrivateKey(std::uint8_t value) {
    constexpr std::size_t kKeySize = 32;
    const Bytes algorithm = Element(
        kSequence,
        Join({Oid("1.2.643.7.1.1.1.1"),
              Element(kSequence, Join({Oid("1.2.643.2.2.35.1"), Oid("1.2.643.7.1.1.2.2")}))}));
    return Element(kSequence, Join({Element(kInteger, {0}), algorithm,
                                    Element(kOctetString, Bytes(kKeySize, value))}));
}

Bytes KeyBag::Build() const {
    const Bytes info = Element(
        kSequence, Join({encryption.AlgorithmIdentifier(), Element(kOctetString, EncryptedKey())}));
    return SafeBag(kShroudedKeyBag, info, attributes);
}

Bytes CertificateBag::Build() const {
    const Bytes value = Element(
        kSequence,
        Join({Oid(kX509Certificate), Element(kContext0, Element(kOctetString, certificate))}));
    return SafeBag(kCertBag, value, attributes);
}

Bytes MakeCertificate(const std::string& subject, const std::string& issuer, std::uint8_t serial,
                      const Bytes& publicKey) {
    const Bytes algorithm = Element(kSequence, Oid("1.2.643.7.1.1.3.2"));
    const Bytes validity = Element(kSequence, Join({Element(kUtcTime, Text("250101000000Z")),
                                                    Element(kUtcTime, Text("450101000000Z"))}));
    const Bytes keyInfo = Element(
        kSequence, Join({Element(kSequence, Oid("1.2.643.7.1.1.1.1")), Element(0x03, publicKey)}));
    const Bytes body = Element(
        kSequence, Join({Element(kContext0, Element(kInteger, {2})), Element(kInteger, {serial}),
                         algorithm, Name(issuer), validity, Name(subject), keyInfo}));
    return Element(kSequence, Join({body, algorithm, Element(0x03, {0, 5, 6, 7, 8})}));
}

Bytes EncryptedContentInfo(const std::vector<Bytes>& bags, const Encryption& encryption,
                           const std::string& password) {
    const Bytes encrypted = encryption.Encrypt(password, Element(kSequence, JoinAll(bags)));
    const Bytes info = Element(
        kSequence, Join({Oid(kData), encryption.AlgorithmIdentifier(), Element(0x80, encrypted)}));
    const Bytes data = Element(kSequence, Join({Element(kInteger, {0}), info}));
    return Element(kSequence, Join({Oid(kEncryptedData), Element(kContext0, data)}));
}

Bytes PlainContentInfo(const std::vector<Bytes>& bags) {
    return DataContentInfo(Element(kSequence, JoinAll(bags)));
}

Bytes DocumentOf(const std::vector<Bytes>& contents, const std::string& password) {
    PfxBuilder builder;
    builder.password = password;
    builder.authSafe = Element(kSequence, JoinAll(contents));
    return builder.Build();
}

}  // namespace test_support
