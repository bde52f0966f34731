#include "support/reference_document.h"

#include <gcrypt.h>

#include <stdexcept>

#include "support/pfx_builder.h"

namespace test_support {

namespace {

constexpr unsigned kIterations = 2000;

const Bytes kData = FromHex("06092a864886f70d010701");
const Bytes kEncryptedData = FromHex("06092a864886f70d010706");
const Bytes kPbes2 = FromHex("06092a864886f70d01050d");
const Bytes kPbkdf2 = FromHex("06092a864886f70d01050c");
const Bytes kGost28147 = FromHex("06062a8503020215");
const Bytes kShroudedKeyBag = FromHex("060b2a864886f70d010c0a0102");
const Bytes kCertBag = FromHex("060b2a864886f70d010c0a0103");
const Bytes kX509Certificate = FromHex("060a2a864886f70d01091601");
const Bytes kLocalKeyId = FromHex("06092a864886f70d010915");
const Bytes kProviderName = FromHex("06092b0601040182371101");
const Bytes kFriendlyName = FromHex("06092a864886f70d010914");

// What goes with the hash of a family.
struct Family {
    Bytes prf;
    Bytes cipherParameters;
    std::string parameterSet;
    Bytes digest;
};

Family FamilyOf(ALG_ID hash) {
    if (hash == 0x801E) {
        return {FromHex("06062a850302020a"), FromHex("06072a850302021f01"), "1.2.643.2.2.31.1",
                FromHex("06062a8503020209")};
    }
    return {FromHex("06082a85030701010402"), FromHex("06092a8503070102050101"),
            "1.2.643.7.1.2.5.1.1", FromHex("06082a85030701010203")};
}

// 32 octets of key, 8 of vector.
Bytes Derive(ALG_ID hash, const std::string& password, const Bytes& salt) {
    return ReferencePbkdf2(hash, password, salt, kIterations, 40);
}

Bytes Scheme(ALG_ID hash, const std::string& password, const Bytes& salt) {
    const Family family = FamilyOf(hash);
    const Bytes derived = Derive(hash, password, salt);
    const Bytes vector(derived.begin() + 32, derived.end());
    const Bytes prf = Element(0x30, Join({family.prf, Element(0x05, {})}));
    const Bytes parameters =
        Element(0x30, Join({Element(0x04, salt), Element(0x02, {0x07, 0xD0}), prf}));
    const Bytes derivation = Element(0x30, Join({kPbkdf2, parameters}));
    const Bytes cipher = Element(
        0x30,
        Join({kGost28147, Element(0x30, Join({Element(0x04, vector), family.cipherParameters}))}));
    return Element(0x30, Join({kPbes2, Element(0x30, Join({derivation, cipher}))}));
}

Bytes Attribute(const Bytes& oid, const Bytes& value) {
    return Element(0x30, Join({oid, Element(0x31, value)}));
}

Bytes LocalKeyId(std::uint32_t index) {
    return Attribute(kLocalKeyId, Element(0x04, {static_cast<std::uint8_t>(index),
                                                 static_cast<std::uint8_t>(index >> 8),
                                                 static_cast<std::uint8_t>(index >> 16),
                                                 static_cast<std::uint8_t>(index >> 24)}));
}

Bytes Name(const Bytes& oid, const std::optional<std::string>& name) {
    return name ? Attribute(oid, Element(0x13, Bytes(name->begin(), name->end()))) : Bytes{};
}

Bytes CertificateBag(const ReferenceCertificate& certificate, std::uint32_t index) {
    const Bytes value = Element(0xA0, Element(0x04, certificate.encoded));
    const Bytes bag = Element(0x30, Join({kX509Certificate, value}));
    const Bytes attributes = certificate.namesKey ? LocalKeyId(index) : Bytes{};
    return Element(0x30, Join({kCertBag, Element(0xA0, bag), Element(0x31, attributes)}));
}

void Check(gcry_error_t error) {
    if (error != 0) {
        throw std::runtime_error(gcry_strerror(error));
    }
}

}  // namespace

Bytes ReferenceEncrypt(const std::string& parameterSet, const Bytes& key, const Bytes& vector,
                       Bytes text) {
    gcry_check_version(nullptr);
    gcry_cipher_hd_t handle = nullptr;
    Check(gcry_cipher_open(&handle, GCRY_CIPHER_GOST28147_MESH, GCRY_CIPHER_MODE_CFB, 0));
    std::string sBoxes = parameterSet;
    Check(gcry_cipher_ctl(handle, GCRYCTL_SET_SBOX, sBoxes.data(), 0));
    Check(gcry_cipher_setkey(handle, key.data(), key.size()));
    Check(gcry_cipher_setiv(handle, vector.data(), vector.size()));
    Check(gcry_cipher_encrypt(handle, text.data(), text.size(), nullptr, 0));
    gcry_cipher_close(handle);
    return text;
}

Bytes ReferenceDocument::KeyBag(const ReferenceKey& key) const {
    const Bytes info =
        Element(0x30, Join({Scheme(key.hash, password, keySalt), Element(0x04, key.wrapped)}));
    const Bytes attributes = Join({LocalKeyId(key.index), Name(kProviderName, key.providerName),
                                   Name(kFriendlyName, key.friendlyName)});
    return Element(0x30, Join({kShroudedKeyBag, Element(0xA0, info), Element(0x31, attributes)}));
}

Bytes ReferenceDocument::SafeContents() const {
    Bytes bags;
    std::uint32_t index = 1;
    for (const ReferenceCertificate& certificate : certificates) {
        const Bytes bag = CertificateBag(certificate, index);
        bags.insert(bags.end(), bag.begin(), bag.end());
        index += certificate.namesKey ? 1 : 0;
    }
    return Element(0x30, bags);
}

Bytes ReferenceDocument::EncryptedContentInfo() const {
    const Bytes derived = Derive(hash, password, certificateSalt);
    const Bytes text =
        ReferenceEncrypt(FamilyOf(hash).parameterSet, Bytes(derived.begin(), derived.begin() + 32),
                         Bytes(derived.begin() + 32, derived.end()), SafeContents());
    const Bytes info =
        Element(0x30, Join({kData, Scheme(hash, password, certificateSalt), Element(0x80, text)}));
    const Bytes content = Element(0x30, Join({Element(0x02, {0}), info}));
    return Element(0x30, Join({kEncryptedData, Element(0xA0, content)}));
}

Bytes ReferenceDocument::MacData(const Bytes& authenticatedSafe) const {
    const Bytes mac = ReferencePfxMac(hash, password, macSalt, kIterations, authenticatedSafe);
    const Bytes digest =
        Element(0x30, Join({Element(0x30, FamilyOf(hash).digest), Element(0x04, mac)}));
    return Element(0x30, Join({digest, Element(0x04, macSalt), Element(0x02, {0x07, 0xD0})}));
}

Bytes ReferenceDocument::Build() const {
    Bytes keyBags;
    for (const ReferenceKey& key : keys) {
        const Bytes bag = KeyBag(key);
        keyBags.insert(keyBags.end(), bag.begin(), bag.end());
    }
    const Bytes keyContent =
        Element(0x30, Join({kData, Element(0xA0, Element(0x04, Element(0x30, keyBags)))}));
    const Bytes authenticatedSafe = Element(0x30, Join({keyContent, EncryptedContentInfo()}));
    const Bytes authSafe =
        Element(0x30, Join({kData, Element(0xA0, Element(0x04, authenticatedSafe))}));
    return Element(0x30, Join({Element(0x02, {3}), authSafe, MacData(authenticatedSafe)}));
}

}  // namespace test_support
