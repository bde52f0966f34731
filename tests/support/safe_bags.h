// Certificates, keys and what encrypts them, as documents hold them, put together byte by byte.
// Passwords are in UTF-8.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "support/pfx_builder.h"

namespace test_support {

// An OBJECT IDENTIFIER.
Bytes Oid(const std::string& dotted);
Bytes JoinAll(const std::vector<Bytes>& parts);

// PBES2 over GOST 28147-89 with few iterations.
struct Encryption {
    std::string scheme = "1.2.840.113549.1.5.13";
    std::string prf = "1.2.643.7.1.1.4.1";
    std::string cipher = "1.2.643.2.2.21";
    std::string parameterSet = "1.2.643.2.2.31.1";
    Bytes salt = {9, 8, 7, 6, 5, 4, 3, 2};
    unsigned iterations = 2;
    Bytes vector = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    // NULL behind the function's identifier, which not every program writes.
    bool withPrfParameters = true;

    Bytes AlgorithmIdentifier() const;
    // By libgcrypt, whatever the identifiers are changed to later.
    Bytes Encrypt(const std::string& password, const Bytes& data) const;
};

// One attribute; LocalKeyId and FriendlyName with the value in its usual type.
Bytes Attribute(const std::string& oid, const std::vector<Bytes>& values);
Bytes LocalKeyId(const Bytes& id);
Bytes FriendlyName(const std::u16string& name);

// A PrivateKeyInfo of a GOST R 34.10-2012 key of 256 bits that is `value` in every octet.
Bytes PrivateKey(std::uint8_t value = 1);

struct KeyBag {
    Encryption encryption;
    std::string password = "Password1";
    Bytes privateKey = PrivateKey();
    std::vector<Bytes> attributes;

    Bytes EncryptedKey() const { return encryption.Encrypt(password, privateKey); }
    Bytes Build() const;
};

struct CertificateBag {
    Bytes certificate;
    std::vector<Bytes> attributes;

    Bytes Build() const;
};

// A certificate with these common names, its signature nonsense, and its key, the octets of the BIT
// STRING, whatever they are.
Bytes MakeCertificate(const std::string& subject, const std::string& issuer,
                      std::uint8_t serial = 1, const Bytes& publicKey = {0, 1, 2, 3, 4});

// ContentInfo of type encryptedData around SafeContents of these bags.
Bytes EncryptedContentInfo(const std::vector<Bytes>& bags, const Encryption& encryption = {},
                           const std::string& password = "Password1");
// ContentInfo of type data around the same.
Bytes PlainContentInfo(const std::vector<Bytes>& bags);

// A document of these contents with a right MAC.
Bytes DocumentOf(const std::vector<Bytes>& contents, const std::string& password = "Password1");

}  // namespace test_support
