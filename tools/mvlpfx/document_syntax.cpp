#include "mvlpfx/document_syntax.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <vector>

#include "mvlpfx/der_tags.h"

namespace mvlpfx {

namespace {

constexpr std::uint8_t kAny = 0;

struct Type;

struct Field {
    std::string_view name;
    std::uint8_t tag;
    const Type* type = nullptr;
    bool isNullable = false;
};

// What stands in an element: its fields in their order, one of several, or any number of one.
struct Type {
    enum class Kind { kFields, kChoice, kList } kind;
    std::span<const Field> fields;
};

using enum Type::Kind;

constexpr Field kAlgorithmFields[] = {{"algorithm", kObjectIdentifier}, {"parameters", kAny}};
constexpr Type kAlgorithm{kFields, kAlgorithmFields};

constexpr Field kDerivationParameterFields[] = {
    {"salt", kOctetString}, {"iterationCount", kInteger}, {"prf", kSequence, &kAlgorithm}};
constexpr Type kDerivationParameters{kFields, kDerivationParameterFields};
constexpr Field kDerivationFields[] = {{"algorithm", kObjectIdentifier},
                                       {"parameters", kSequence, &kDerivationParameters, true}};
constexpr Type kDerivation{kFields, kDerivationFields};
constexpr Field kCipherParameterFields[] = {{"iv", kOctetString},
                                            {"parameterSet", kObjectIdentifier}};
constexpr Type kCipherParameters{kFields, kCipherParameterFields};
constexpr Field kCipherFields[] = {{"algorithm", kObjectIdentifier},
                                   {"parameters", kSequence, &kCipherParameters, true}};
constexpr Type kCipher{kFields, kCipherFields};
constexpr Field kSchemeParameterFields[] = {{"keyDerivationFunc", kSequence, &kDerivation},
                                            {"encryptionScheme", kSequence, &kCipher}};
constexpr Type kSchemeParameters{kFields, kSchemeParameterFields};
constexpr Field kSchemeFields[] = {{"algorithm", kObjectIdentifier},
                                   {"parameters", kSequence, &kSchemeParameters}};
constexpr Type kScheme{kFields, kSchemeFields};

constexpr Field kEncryptedContentFields[] = {{"contentType", kObjectIdentifier},
                                             {"contentEncryptionAlgorithm", kSequence, &kScheme},
                                             {"encryptedContent", kAny}};
constexpr Type kEncryptedContent{kFields, kEncryptedContentFields};
constexpr Field kEncryptedDataFields[] = {{"version", kInteger},
                                          {"encryptedContentInfo", kSequence, &kEncryptedContent}};
constexpr Type kEncryptedData{kFields, kEncryptedDataFields};

constexpr Field kAttributeFields[] = {{"attrType", kObjectIdentifier}, {"attrValues", kSet}};
constexpr Type kAttribute{kFields, kAttributeFields};
constexpr Field kAttributeListFields[] = {{"", kSequence, &kAttribute}};
constexpr Type kAttributeList{kList, kAttributeListFields};
constexpr Field kEncryptedKeyFields[] = {{"encryptionAlgorithm", kSequence, &kScheme},
                                         {"encryptedData", kOctetString}};
constexpr Type kEncryptedKey{kFields, kEncryptedKeyFields};
constexpr Field kBagValueFields[] = {{"", kSequence, &kEncryptedKey}};
constexpr Type kBagValue{kFields, kBagValueFields};
constexpr Field kBagFields[] = {{"bagId", kObjectIdentifier},
                                {"bagValue", kContext0, &kBagValue},
                                {"bagAttributes", kSet, &kAttributeList}};
constexpr Type kBag{kFields, kBagFields};
constexpr Field kBagListFields[] = {{"bags", kSequence, &kBag}};
constexpr Type kBagList{kList, kBagListFields};

// ContentInfo, of which data and encrypted data are told by what the wrapper holds.
constexpr Field kDataFields[] = {{"", kSequence, &kBagList}};
constexpr Type kData{kFields, kDataFields};
constexpr Field kContentChoices[] = {{"", kSequence, &kEncryptedData}, {"", kOctetString, &kData}};
constexpr Type kContent{kChoice, kContentChoices};
constexpr Field kContentInfoFields[] = {{"contentType", kObjectIdentifier},
                                        {"", kContext0, &kContent}};
constexpr Type kContentInfo{kFields, kContentInfoFields};
constexpr Field kContentListFields[] = {{"contents", kSequence, &kContentInfo}};
constexpr Type kContentList{kList, kContentListFields};

constexpr Field kAuthSafeOctetFields[] = {{"", kSequence, &kContentList}};
constexpr Type kAuthSafeOctets{kFields, kAuthSafeOctetFields};
constexpr Field kAuthSafeWrapperFields[] = {{"", kOctetString, &kAuthSafeOctets}};
constexpr Type kAuthSafeWrapper{kFields, kAuthSafeWrapperFields};
constexpr Field kAuthSafeFields[] = {{"contentType", kObjectIdentifier},
                                     {"", kContext0, &kAuthSafeWrapper}};
constexpr Type kAuthSafe{kFields, kAuthSafeFields};

constexpr Field kDigestFields[] = {{"digestAlgorithm", kSequence, &kAlgorithm},
                                   {"digest", kOctetString}};
constexpr Type kDigest{kFields, kDigestFields};
constexpr Field kMacDataFields[] = {
    {"mac", kSequence, &kDigest}, {"macSalt", kOctetString}, {"iterations", kInteger}};
constexpr Type kMacData{kFields, kMacDataFields};

constexpr Field kDocumentFields[] = {
    {"version", kInteger}, {"authSafe", kSequence, &kAuthSafe}, {"macData", kSequence, &kMacData}};
constexpr Type kDocument{kFields, kDocumentFields};

// What the syntax has for child number `index` of an element of this type; null for nothing.
const Field* FieldOf(const Type* type, const NodeTree& tree, std::size_t child, std::size_t index) {
    if (type == nullptr) {
        return nullptr;
    }
    switch (type->kind) {
        case kList:
            return type->fields.data();
        case kChoice: {
            const auto field = std::ranges::find_if(
                type->fields, [&](const Field& choice) { return tree.HasTag(child, choice.tag); });
            return field == type->fields.end() ? nullptr : &*field;
        }
        case kFields:
            break;
    }
    return index < type->fields.size() ? &type->fields[index] : nullptr;
}

std::string StepTo(const Type* type, const Field* field, std::size_t index) {
    const bool isCounted = field == nullptr || type->kind == kList;
    const std::string name(field == nullptr ? std::string_view() : field->name);
    return isCounted ? name + "[" + std::to_string(index + 1) + "]" : name;
}

void Append(std::string* path, const std::string& step) {
    if (!path->empty() && !step.empty() && step[0] != '[') {
        *path += '.';
    }
    *path += step;
}

std::size_t IndexOf(const NodeTree& tree, std::size_t node) {
    std::size_t index = 0;
    std::size_t sibling = tree.Child(tree.Parent(node), 0);
    for (; sibling != node && sibling != NodeTree::kNone; ++index) {
        sibling = tree.NextSibling(sibling);
    }
    return index;
}

std::optional<Misshapen> Find(const NodeTree& tree, std::size_t node, const Type& type);

// The element stands where `field` is wanted.
std::optional<Misshapen> FindIn(const NodeTree& tree, std::size_t node, const Field& field) {
    const bool fits = field.tag == kAny || tree.HasTag(node, field.tag);
    if (fits) {
        return field.type == nullptr ? std::nullopt : Find(tree, node, *field.type);
    }
    if (field.isNullable && tree.HasTag(node, kNull)) {
        return std::nullopt;
    }
    return Misshapen{node, std::string(field.name), false};
}

// Goes as deep as the syntax does, and no deeper.
std::optional<Misshapen> Find(const NodeTree& tree, std::size_t node, const Type& type) {
    if (type.kind == kList) {
        for (const std::size_t child : tree.Children(node)) {
            if (auto misshapen = FindIn(tree, child, type.fields[0])) {
                return misshapen;
            }
        }
        return std::nullopt;
    }
    std::size_t child = tree.Child(node, 0);
    for (const Field& field : type.fields) {
        if (child == NodeTree::kNone) {
            return Misshapen{node, std::string(field.name), true};
        }
        if (auto misshapen = FindIn(tree, child, field)) {
            return misshapen;
        }
        child = tree.NextSibling(child);
    }
    return std::nullopt;
}

}  // namespace

std::string PathOf(const NodeTree& tree, std::size_t node) {
    std::vector<std::size_t> chain;
    for (; tree.Parent(node) != NodeTree::kNone; node = tree.Parent(node)) {
        chain.push_back(node);
    }
    // A document may be nested deeper than anyone would read.
    constexpr std::ptrdiff_t kLongest = 32;
    const auto end = chain.rbegin() + std::min(std::ssize(chain), kLongest);
    std::string path;
    const Type* type = &kDocument;
    for (auto at = chain.rbegin(); at != end; ++at) {
        const std::size_t index = IndexOf(tree, *at);
        const Field* const field = FieldOf(type, tree, *at, index);
        Append(&path, StepTo(type, field, index));
        type = field == nullptr ? nullptr : field->type;
    }
    return end == chain.rend() ? path : path + "...";
}

std::optional<Misshapen> FindMisshapenContent(const NodeTree& tree, std::size_t node) {
    return Find(tree, node, kEncryptedData);
}

std::optional<Misshapen> FindMisshapenBag(const NodeTree& tree, std::size_t node) {
    return Find(tree, node, kBag);
}

}  // namespace mvlpfx
