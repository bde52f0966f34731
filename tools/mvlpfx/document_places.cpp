#include "mvlpfx/document_places.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "asn/asn_identifier.h"
#include "mvlpfx/der_tags.h"
#include "mvlpfx/der_walk.h"
#include "mvlpfx/document_syntax.h"
#include "mvlpfx/parsed_document.h"
#include "mvlpfx/report.h"
#include "pfximport/bag_identifiers.h"
#include "platform/cryptoapi.h"

namespace mvlpfx {

namespace {

constexpr std::uint32_t kVectorSize = 8;

constexpr char kPbes2Oid[] = "1.2.840.113549.1.5.13";
constexpr char kPbkdf2Oid[] = "1.2.840.113549.1.5.12";

// The element that holds the `number`-th of these identifiers, counted from 1.
std::size_t HolderOf(const NodeTree& tree, const char* oid, std::size_t number = 1) {
    for (std::size_t node = 0; node < tree.Size(); ++node) {
        if (tree.Oid(node) == oid && --number == 0) {
            return tree.Parent(node);
        }
    }
    return NodeTree::kNone;
}

// What an AlgorithmIdentifier of PBES2 names.
struct Scheme {
    Scheme(const NodeTree& tree, std::size_t identifier) : algorithm(identifier) {
        const std::size_t parameters = tree.Child(algorithm, 1);
        function = tree.Child(tree.Child(parameters, 0), 0);
        derivation = tree.Child(tree.Child(parameters, 0), 1);
        iterations = tree.Child(derivation, 1);
        prf = tree.Child(tree.Child(derivation, 2), 0);
        cipher = tree.Child(tree.Child(parameters, 1), 0);
        vector = tree.Child(tree.Child(tree.Child(parameters, 1), 1), 0);
    }

    std::size_t algorithm;
    std::size_t function;
    std::size_t derivation;
    std::size_t iterations;
    std::size_t prf;
    std::size_t cipher;
    std::size_t vector;
};

// EncryptedData of the first encrypted content.
std::size_t EncryptedData(const NodeTree& tree) {
    return tree.Child(tree.Child(HolderOf(tree, pkisdk::kEncryptedDataOid), 1), 0);
}

// The bags that a restore takes for those of keys.
std::vector<std::size_t> KeyBags(const NodeTree& tree) {
    std::vector<std::size_t> bags;
    for (std::size_t node = 0; node < tree.Size(); ++node) {
        const std::size_t bag = tree.Parent(node);
        if (tree.Oid(node) == pkisdk::kShroudedKeyBagOid && bag != NodeTree::kNone &&
            tree.Child(bag, 1) != NodeTree::kNone) {
            bags.push_back(bag);
        }
    }
    return bags;
}

std::size_t EncryptedKey(const NodeTree& tree, std::size_t bag) {
    return tree.Child(tree.Child(bag, 1), 0);
}

std::vector<Scheme> SchemesOf(const NodeTree& tree) {
    std::vector<Scheme> schemes{Scheme(tree, tree.Child(tree.Child(EncryptedData(tree), 1), 1))};
    for (const std::size_t bag : KeyBags(tree)) {
        schemes.emplace_back(tree, tree.Child(EncryptedKey(tree, bag), 0));
    }
    return schemes;
}

// A platform may know others' ciphers too, which the provider does not.
bool IsKnownCipher(std::string oid) {
    constexpr std::string_view kGostArc = "1.2.643.";
    return oid.starts_with(kGostArc) &&
           CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, oid.data(), 0) != nullptr;
}

bool IsKnownPrf(const std::string& oid) {
    return oid == "1.2.643.2.2.10" || oid == "1.2.643.7.1.1.4.1" || oid == "1.2.643.7.1.1.4.2";
}

// Of a scheme whose parameters are not in the provider's form: the first algorithm that has others.
std::optional<DocumentPlace> FindUnknownIn(const NodeTree& tree, const Scheme& scheme) {
    const std::size_t name = tree.Child(scheme.algorithm, 0);
    const std::pair<std::size_t, bool> algorithms[] = {
        {name, tree.Oid(name) == kPbes2Oid},
        {scheme.function, tree.Oid(scheme.function) == kPbkdf2Oid},
        {scheme.cipher, IsKnownCipher(tree.Oid(scheme.cipher))},
        {scheme.prf, IsKnownPrf(tree.Oid(scheme.prf))}};
    for (const auto& [node, isKnown] : algorithms) {
        if (!isKnown && tree.HasTag(node, kObjectIdentifier)) {
            return PlaceOf(tree, node, tree.Oid(node));
        }
    }
    return std::nullopt;
}

DocumentPlace PlaceOf(const NodeTree& tree, const Misshapen& misshapen) {
    const std::string type = TypeName(tree.Tag(misshapen.node));
    return PlaceOf(
        tree, misshapen.node,
        type + (misshapen.isMissing ? " without " : " in the place of ") + misshapen.wanted);
}

// The types of text from which a restore takes a friendly name.
constexpr std::array kNameTypes = {
    pkisdk::asn::kUtf8StringIdentifier.firstOctet, pkisdk::asn::kNumericStringIdentifier.firstOctet,
    pkisdk::asn::kPrintableStringIdentifier.firstOctet,
    pkisdk::asn::kIa5StringIdentifier.firstOctet, pkisdk::asn::kBmpStringIdentifier.firstOctet};

// The identifier and the name of a key must have values of their types.
std::optional<DocumentPlace> FindMisshapenValue(const NodeTree& tree, std::size_t bag) {
    for (const std::size_t attribute : tree.Children(tree.Child(bag, 2))) {
        const std::string oid = tree.Oid(tree.Child(attribute, 0));
        const bool isId = oid == pkisdk::kLocalKeyIdOid;
        if (!isId && oid != pkisdk::kFriendlyNameOid) {
            continue;
        }
        const std::size_t value = tree.Child(tree.Child(attribute, 1), 0);
        if (value == NodeTree::kNone) {
            return PlaceOf(tree, tree.Child(attribute, 1), "SET without a value");
        }
        if (isId ? !tree.HasTag(value, kOctetString)
                 : std::ranges::count(kNameTypes, tree.Tag(value)) == 0) {
            return PlaceOf(tree, value,
                           TypeName(tree.Tag(value)) + " in the place of " +
                               (isId ? "the key's identifier" : "the friendly name"));
        }
    }
    return std::nullopt;
}

// What keeps the parts of a scheme's encrypted value from being decrypted, of what can be seen.
std::optional<DocumentPlace> FindShortVector(const NodeTree& tree, const Scheme& scheme) {
    if (!tree.HasTag(scheme.vector, kOctetString) || tree.Length(scheme.vector) >= kVectorSize) {
        return std::nullopt;
    }
    return PlaceOf(tree, scheme.vector,
                   "initialisation vector of " + std::to_string(tree.Length(scheme.vector)) +
                       " bytes, of 8 that the cipher reads");
}

}  // namespace

std::optional<DocumentPlace> FindDigest(std::span<const std::uint8_t> document) {
    const ParsedDocument read(document);
    const NodeTree& tree = read.tree;
    const auto top = tree.Children(tree.Root());
    if (top.empty()) {
        return std::nullopt;
    }
    const std::size_t algorithm = tree.Child(tree.Child(top.back(), 0), 0);
    return PlaceOf(tree, tree.Child(algorithm, 0), tree.Oid(tree.Child(algorithm, 0)));
}

std::optional<DocumentPlace> FindIterations(std::span<const std::uint8_t> document) {
    const ParsedDocument read(document);
    const NodeTree& tree = read.tree;
    std::vector<std::size_t> nodes{tree.Last()};
    for (const Scheme& scheme : SchemesOf(tree)) {
        nodes.push_back(scheme.iterations);
    }
    std::size_t greatest = NodeTree::kNone;
    std::uint64_t iterations = 0;
    for (const std::size_t node : nodes) {
        std::uint64_t count = 0;
        if (tree.Number(node, &count) && (greatest == NodeTree::kNone || count > iterations)) {
            greatest = node;
            iterations = count;
        }
    }
    if (greatest == NodeTree::kNone) {
        return std::nullopt;
    }
    return PlaceOf(tree, greatest, CountText(iterations, "iteration"));
}

std::optional<DocumentPlace> FindUnknownAlgorithm(std::span<const std::uint8_t> document) {
    const ParsedDocument read(document);
    const NodeTree& tree = read.tree;
    for (const Scheme& scheme : SchemesOf(tree)) {
        if (!IsKnownCipher(tree.Oid(scheme.cipher)) && scheme.cipher != NodeTree::kNone) {
            return PlaceOf(tree, scheme.cipher, tree.Oid(scheme.cipher));
        }
        if (scheme.prf != NodeTree::kNone && !IsKnownPrf(tree.Oid(scheme.prf))) {
            return PlaceOf(tree, scheme.prf, tree.Oid(scheme.prf));
        }
        if (scheme.prf == NodeTree::kNone && scheme.derivation != NodeTree::kNone) {
            return PlaceOf(tree, scheme.derivation, TypeName(tree.Tag(scheme.derivation)));
        }
    }
    return std::nullopt;
}

std::optional<DocumentPlace> FindMisshapen(std::span<const std::uint8_t> document) {
    const ParsedDocument read(document);
    const NodeTree& tree = read.tree;
    if (const std::size_t content = EncryptedData(tree); content != NodeTree::kNone) {
        if (const auto misshapen = FindMisshapenContent(tree, content)) {
            return PlaceOf(tree, *misshapen);
        }
    }
    for (const std::size_t bag : KeyBags(tree)) {
        if (const auto misshapen = FindMisshapenBag(tree, bag)) {
            return PlaceOf(tree, *misshapen);
        }
        if (auto place = FindMisshapenValue(tree, bag)) {
            return place;
        }
    }
    return std::nullopt;
}

std::optional<DocumentPlace> FindUnknownParameters(std::span<const std::uint8_t> document) {
    const auto misshapen = FindMisshapen(document);
    if (!misshapen) {
        return std::nullopt;
    }
    const ParsedDocument read(document);
    for (const Scheme& scheme : SchemesOf(read.tree)) {
        // What is encrypted stands behind.
        const std::size_t behind = read.tree.NextSibling(scheme.algorithm);
        if (misshapen->offset >= read.tree.Offset(scheme.algorithm) &&
            misshapen->offset < read.tree.Offset(behind)) {
            return FindUnknownIn(read.tree, scheme);
        }
    }
    return std::nullopt;
}

std::optional<DocumentPlace> FindLack(std::span<const std::uint8_t> document,
                                      std::size_t containers) {
    const ParsedDocument read(document);
    const NodeTree& tree = read.tree;
    const std::size_t authSafe = tree.Child(tree.Root(), 1);
    if (HolderOf(tree, pkisdk::kEncryptedDataOid) == NodeTree::kNone) {
        return PlaceOf(tree, authSafe, "no encrypted certificates");
    }
    const std::vector<Scheme> schemes = SchemesOf(tree);
    if (auto place = FindShortVector(tree, schemes.front())) {
        return place;
    }
    if (HolderOf(tree, pkisdk::kDataOid, 2) == NodeTree::kNone) {
        return PlaceOf(tree, authSafe, "no content for keys");
    }
    return containers == 0 || containers >= schemes.size()
               ? std::nullopt
               : FindShortVector(tree, schemes[containers]);
}

std::optional<DocumentPlace> FindOtherKey(std::span<const std::uint8_t> document,
                                          std::size_t containers) {
    const ParsedDocument read(document);
    const NodeTree& tree = read.tree;
    const std::vector<std::size_t> bags = KeyBags(tree);
    if (containers == 0 || containers > bags.size()) {
        return std::nullopt;
    }
    const std::size_t key = EncryptedKey(tree, bags[containers - 1]);
    if (FindShortVector(tree, Scheme(tree, tree.Child(key, 0)))) {
        return std::nullopt;
    }
    return PlaceOf(tree, tree.Child(key, 1), "a key that is no GOST key once it is decrypted");
}

ToolError MakeJunkError(std::span<const std::uint8_t> document) {
    ToolError error(ExitCode::kMalformed,
                    "what is decrypted is no list of bags, and a restore finds none in it", 0,
                    "it may be encrypted under another password than the integrity value, or be "
                    "damaged; have the document made again");
    const ParsedDocument read(document);
    const std::size_t content = read.tree.Child(EncryptedData(read.tree), 1);
    error.place = PlaceOf(read.tree, read.tree.Child(content, 2),
                          "octets that are no SafeContents once they are decrypted");
    return error;
}

}  // namespace mvlpfx
