#include "mvlpfx/document_outline.h"

#include <algorithm>
#include <array>
#include <utility>

#include "derlist/der_parser.h"
#include "mvlpfx/der_tags.h"
#include "mvlpfx/document_fault.h"
#include "mvlpfx/node_tree.h"
#include "platform/cryptoapi.h"

namespace mvlpfx {

namespace {

constexpr char kData[] = "1.2.840.113549.1.7.1";
constexpr char kEncryptedData[] = "1.2.840.113549.1.7.6";
constexpr char kShroudedKeyBag[] = "1.2.840.113549.1.12.10.1.2";
constexpr char kCertBag[] = "1.2.840.113549.1.12.10.1.3";
constexpr char kSafeContentsBag[] = "1.2.840.113549.1.12.10.1.6";
constexpr char kPbes2[] = "1.2.840.113549.1.5.13";

constexpr std::array<std::pair<const char*, const char*>, 27> kNames = {{
    {"1.2.643.2.2.9", "GOST R 34.11-94"},
    {"1.2.643.7.1.1.2.2", "GOST R 34.11-2012 (256 bits)"},
    {"1.2.643.7.1.1.2.3", "GOST R 34.11-2012 (512 bits)"},
    {"1.3.14.3.2.26", "SHA-1"},
    {"2.16.840.1.101.3.4.2.1", "SHA-256"},
    {"2.16.840.1.101.3.4.2.2", "SHA-384"},
    {"2.16.840.1.101.3.4.2.3", "SHA-512"},
    {"1.2.643.2.2.10", "HMAC GOST R 34.11-94"},
    {"1.2.643.7.1.1.4.1", "HMAC GOST R 34.11-2012 (256 bits)"},
    {"1.2.643.7.1.1.4.2", "HMAC GOST R 34.11-2012 (512 bits)"},
    {"1.2.840.113549.2.7", "HMAC SHA-1"},
    {"1.2.840.113549.2.9", "HMAC SHA-256"},
    {"1.2.643.2.2.21", "GOST 28147-89"},
    {"2.16.840.1.101.3.4.1.42", "AES-256-CBC"},
    {"1.2.840.113549.3.7", "DES-EDE3-CBC"},
    {kPbes2, "PBES2"},
    {"1.2.840.113549.1.5.12", "PBKDF2"},
    {"1.2.840.113549.1.12.1.3", "PBE SHA-1 3-key DES"},
    {"1.2.840.113549.1.12.1.6", "PBE SHA-1 40-bit RC2"},
    {kShroudedKeyBag, "encrypted key"},
    {"1.2.840.113549.1.12.10.1.1", "plain key"},
    {kCertBag, "certificate"},
    {"1.2.840.113549.1.12.10.1.4", "revocation list"},
    {"1.2.840.113549.1.12.10.1.5", "secret"},
    {kSafeContentsBag, "bags"},
    {kData, "data"},
    {kEncryptedData, "encrypted content"},
}};

std::string NameOf(const std::string& oid) {
    for (const auto& [known, name] : kNames) {
        if (oid == known) {
            return name;
        }
    }
    return oid;
}

// AlgorithmIdentifier ::= SEQUENCE { algorithm, parameters }, where the parameters are those of
//   PBES2:  SEQUENCE { SEQUENCE { PBKDF2, SEQUENCE { salt, iterations, ..., prf } }, cipher }
//   others: SEQUENCE { salt, iterations }
EncryptionOutline OutlineEncryption(const NodeTree& tree, std::size_t algorithm) {
    EncryptionOutline outline;
    const std::string oid = tree.Oid(tree.Child(algorithm, 0));
    outline.scheme = NameOf(oid);
    std::size_t parameters = tree.Child(algorithm, 1);
    if (oid == kPbes2) {
        const std::size_t derivation = tree.Child(parameters, 0);
        outline.derivation = NameOf(tree.Oid(tree.Child(derivation, 0)));
        outline.cipher = NameOf(tree.Oid(tree.Child(tree.Child(parameters, 1), 0)));
        parameters = tree.Child(derivation, 1);
        const auto fields = tree.Children(parameters);
        if (!fields.empty() && tree.HasTag(fields.back(), kSequence)) {
            outline.prf = NameOf(tree.Oid(tree.Child(fields.back(), 0)));
        }
    }
    if (tree.HasTag(tree.Child(parameters, 0), kOctetString)) {
        outline.saltLength = tree.Length(tree.Child(parameters, 0));
    }
    std::uint64_t iterations = 0;
    if (tree.Number(tree.Child(parameters, 1), &iterations)) {
        outline.iterations = iterations;
    }
    return outline;
}

// SafeBag ::= SEQUENCE { bagId, [0] bagValue, bagAttributes }
PartOutline OutlineBag(const NodeTree& tree, std::size_t bag, bool isEncrypted) {
    PartOutline part;
    const std::string oid = tree.Oid(tree.Child(bag, 0));
    part.type = NameOf(oid);
    part.passedOver = WhyPassedOver(oid, isEncrypted);
    if (oid == kShroudedKeyBag) {
        const std::size_t encryptedKey = tree.Child(tree.Child(bag, 1), 0);
        part.kind = PartKind::kKeyBag;
        part.encryption = OutlineEncryption(tree, tree.Child(encryptedKey, 0));
        part.length = tree.Length(tree.Child(encryptedKey, 1));
        if (encryptedKey == NodeTree::kNone) {
            part.passedOver = "it holds no key";
        }
    }
    return part;
}

// EncryptedData ::= SEQUENCE { version, SEQUENCE { contentType, algorithm, [0] content } }
PartOutline OutlineEncryptedData(const NodeTree& tree, std::size_t encryptedData) {
    const std::size_t content = tree.Child(encryptedData, 1);
    PartOutline part;
    part.kind = PartKind::kEncryptedContent;
    part.type = NameOf(kEncryptedData);
    part.encryption = OutlineEncryption(tree, tree.Child(content, 1));
    part.length = tree.Length(tree.Child(content, 2));
    return part;
}

// ContentInfo ::= SEQUENCE { contentType, [0] content }
void OutlineContentInfo(const NodeTree& tree, std::size_t contentInfo,
                        std::vector<PartOutline>* parts) {
    const std::string oid = tree.Oid(tree.Child(contentInfo, 0));
    const std::size_t content = tree.Child(tree.Child(contentInfo, 1), 0);
    if (oid == kEncryptedData) {
        const bool isFirst = std::ranges::none_of(*parts, [](const PartOutline& part) {
            return part.kind == PartKind::kEncryptedContent;
        });
        parts->push_back(OutlineEncryptedData(tree, content));
        parts->back().passedOver = isFirst ? "" : "it decrypts the first encrypted content alone";
    } else if (oid == kData) {
        for (const std::size_t bag : tree.Children(tree.Child(content, 0))) {
            parts->push_back(OutlineBag(tree, bag, false));
        }
    } else {
        parts->push_back({PartKind::kOtherBag,
                          NameOf(oid),
                          {},
                          tree.Length(content),
                          "it reads data and encrypted contents alone"});
    }
}

bool PlatformKnowsDigest(const std::string& oid) {
    std::string key = oid;
    return CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, key.data(), 0) != nullptr;
}

// MacData ::= SEQUENCE { SEQUENCE { SEQUENCE { digest, ... }, mac }, salt, iterations } at the
// tail. The count must be the very number that the verification derives with, so it is taken where
// and as that takes it: the last node, an INTEGER of depth 2 and 1 to 4 bytes.
MacOutline OutlineMac(const NodeTree& tree) {
    MacOutline mac;
    const auto top = tree.Children(tree.Root());
    const std::size_t macData = top.size() < 2 ? NodeTree::kNone : top.back();
    const std::size_t digestInfo = tree.Child(macData, 0);
    const std::size_t value = tree.Child(digestInfo, 1);
    const std::size_t salt = tree.Child(macData, 1);
    if (!tree.HasTag(value, kOctetString) || !tree.HasTag(salt, kOctetString)) {
        return mac;
    }
    mac.present = true;
    mac.digestOid = tree.Oid(tree.Child(tree.Child(digestInfo, 0), 0));
    mac.digestName = NameOf(mac.digestOid);
    mac.digestKnown = PlatformKnowsDigest(mac.digestOid);
    mac.saltLength = tree.Length(salt);
    mac.macLength = tree.Length(value);
    const std::size_t last = tree.Last();
    std::uint64_t iterations = 0;
    if (tree.HasTag(last, kInteger) && tree.Depth(last) == 2 && tree.Length(last) <= 4 &&
        tree.Number(last, &iterations)) {
        mac.iterations = iterations;
    }
    return mac;
}

bool ParseDocument(std::span<const std::uint8_t> document, pkisdk::DerList* list) {
    return pkisdk::ParseDerList(document.data(), static_cast<std::int32_t>(document.size()),
                                list) != 0;
}

}  // namespace

const char* WhyPassedOver(const std::string& oid, bool isEncrypted) {
    // Bags in bags are found.
    if (oid == kSafeContentsBag || oid == (isEncrypted ? kCertBag : kShroudedKeyBag)) {
        return "";
    }
    if (oid == kCertBag) {
        return "it takes certificates from the encrypted content alone";
    }
    return oid == kShroudedKeyBag ? "it looks for keys outside of encrypted contents"
                                  : "it takes certificates and encrypted keys alone";
}

std::vector<PartOutline> OutlineDecrypted(const pkisdk::DerList& content, bool* isRead) {
    const NodeTree tree(content);
    std::vector<PartOutline> parts;
    *isRead = tree.HasTag(tree.Root(), kSequence);
    for (const std::size_t bag : tree.Children(tree.Root())) {
        *isRead = *isRead && tree.HasTag(tree.Child(bag, 0), kObjectIdentifier);
        parts.push_back(OutlineBag(tree, bag, true));
    }
    return *isRead ? parts : std::vector<PartOutline>();
}

MacOutline OutlineMac(std::span<const std::uint8_t> document) {
    pkisdk::DerList list;
    ParseDocument(document, &list);
    return OutlineMac(NodeTree(list));
}

DocumentOutline OutlineDocument(std::span<const std::uint8_t> document) {
    pkisdk::DerList list;
    const bool parsed = ParseDocument(document, &list);
    const NodeTree tree(list);
    // PFX ::= SEQUENCE { version, SEQUENCE { data, [0] OCTET STRING of SEQUENCE OF ContentInfo } }
    DocumentOutline outline;
    const std::size_t authSafe = tree.Child(tree.Root(), 1);
    const std::size_t wrapper = tree.Child(authSafe, 1);
    if (!parsed || !tree.HasTag(tree.Root(), kSequence) ||
        !tree.Number(tree.Child(tree.Root(), 0), &outline.version) ||
        tree.Oid(tree.Child(authSafe, 0)) != kData || !tree.HasTag(wrapper, kContext0)) {
        ThrowNoPfx(document);
    }
    outline.mac = OutlineMac(tree);
    for (const std::size_t contentInfo : tree.Children(tree.Child(tree.Child(wrapper, 0), 0))) {
        OutlineContentInfo(tree, contentInfo, &outline.parts);
    }
    return outline;
}

}  // namespace mvlpfx
