#include "mvlpfx/document_fault.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/exception.h"
#include "foundation/object_id.h"
#include "mvlpfx/der_tags.h"
#include "mvlpfx/der_walk.h"
#include "mvlpfx/document_file.h"
#include "mvlpfx/document_keys.h"
#include "mvlpfx/parsed_document.h"
#include "mvlpfx/report.h"
#include "pfximport/bag_identifiers.h"
#include "platform/cryptoapi.h"

namespace mvlpfx {

namespace {

constexpr char kSignedDataOid[] = "1.2.840.113549.1.7.2";

constexpr char kMakeAnew[] = "get the document again, or have it made again";
constexpr char kTakeDer[] = "name a file that holds DER, PEM or base64";
constexpr char kTakeAnother[] =
    "name a .pfx or .p12 file; 'mvlpfx info --tree' shows what any DER file holds";

// SEQUENCE { version, SEQUENCE { contentType, ... }, ... }
bool IsShapedAsPfx(const NodeTree& tree) {
    return tree.HasTag(tree.Root(), kSequence) &&
           tree.HasTag(tree.Child(tree.Root(), 0), kInteger) &&
           tree.HasTag(tree.Child(tree.Child(tree.Root(), 1), 0), kObjectIdentifier);
}

// The kind that a PEM header in the text names, and where that stands; empty where there is none.
std::string PemKind(std::span<const std::uint8_t> bytes, std::size_t* offset) {
    constexpr std::string_view kBegin = "-----BEGIN ";
    constexpr std::size_t kLongest = 64;
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    *offset = text.find(kBegin);
    if (*offset == text.npos || (*offset != 0 && text[*offset - 1] != '\n')) {
        return {};
    }
    const std::string_view rest = text.substr(*offset + kBegin.size(), kLongest);
    const std::size_t end = rest.find("-----");
    return end == rest.npos ? std::string() : std::string(rest.substr(0, end));
}

DocumentPlace PlaceOfPem(const std::string& kind, std::size_t offset) {
    return {static_cast<std::uint32_t>(offset), "", "-----BEGIN " + kind + "-----"};
}

[[noreturn]] void Throw(const std::string& message, const std::string& advice,
                        std::optional<DocumentPlace> place, std::uint32_t word) {
    ToolError error(ExitCode::kMalformed, message, word, advice);
    error.place = std::move(place);
    throw error;
}

[[noreturn]] void ThrowIndefinite(const char* message, std::optional<DocumentPlace> place,
                                  std::uint32_t word) {
    Throw(message,
          "have it made again in DER, as 'openssl pkcs12 -export' writes it; 'mvlpfx info --tree' "
          "shows what it holds",
          std::move(place), word);
}

void RefuseOtherPem(std::span<const std::uint8_t> document, std::uint32_t word) {
    std::size_t offset = 0;
    const std::string kind = PemKind(document, &offset);
    if (kind.empty() || kind == "PKCS12" || kind == "PFX") {
        return;
    }
    const bool isCertificate = kind == "CERTIFICATE";
    Throw("not a PFX document but PEM text of kind " + kind,
          isCertificate ? "'mvlpfx certs add' takes certificates; for this name a .pfx or .p12 file"
                        : "name a .pfx or .p12 file; 'openssl pkcs12 -export' makes one of a key "
                          "and its certificates",
          PlaceOfPem(kind, offset), word);
}

// How long the SEQUENCE with which the bytes begin says it is, header included; 0 where they begin
// otherwise or its length is not definite.
std::uint64_t AnnouncedSize(std::span<const std::uint8_t> der) {
    if (der.size() < 2 || der[0] != kSequence || der[1] == 0x80) {
        return 0;
    }
    const std::size_t octets = der[1] < 0x80 ? 0 : der[1] & 0x7F;
    if (octets > sizeof(std::uint32_t) || der.size() < 2 + octets) {
        return 0;
    }
    std::uint64_t length = octets == 0 ? der[1] : 0;
    for (const std::uint8_t octet : der.subspan(2, octets)) {
        length = length << 8 | octet;
    }
    return 2 + octets + length;
}

void RefuseCutOff(std::span<const std::uint8_t> document, std::uint32_t word) {
    const std::vector<std::uint8_t> der = WithoutArmour({document.begin(), document.end()});
    const std::uint64_t announced = AnnouncedSize(der);
    if (announced > der.size()) {
        Throw("the document is cut off: of " + std::to_string(announced) + " bytes " +
                  std::to_string(der.size()) + " are there",
              "copy or download it again, as binary",
              DocumentPlace{static_cast<std::uint32_t>(der.size()), "", "the end"}, word);
    }
}

std::string ByteText(std::uint8_t byte) {
    std::array<char, 10> text{};
    std::snprintf(text.data(), text.size(), "byte 0x%02X", byte);
    return text.data();
}

void RefuseTrail(std::span<const std::uint8_t> document, std::uint32_t word) {
    if (const auto error = FindTrail(document, word)) {
        throw ToolError(*error);
    }
}

// How far the reading came; nothing where not even a frame and an element in it were read.
std::optional<DocumentPlace> FindUnread(const NodeTree& tree) {
    if (tree.Size() < 2) {
        return std::nullopt;
    }
    return PlaceOf(tree, tree.Last(),
                   TypeName(tree.Tag(tree.Last())) + ", the last that can be read");
}

void RefuseOtherContent(const NodeTree& tree, std::uint32_t word) {
    const std::size_t type = tree.Child(tree.Child(tree.Root(), 1), 0);
    if (!IsShapedAsPfx(tree) || tree.Oid(type) == pkisdk::kDataOid) {
        return;
    }
    const bool isSigned = tree.Oid(type) == kSignedDataOid;
    Throw(isSigned ? "the document is signed by a certificate (signedData) instead of a password"
                   : "not a PFX document: its content is of another type than data",
          isSigned ? "this tool reads password-protected documents; have it made again with a "
                     "password"
                   : kTakeAnother,
          PlaceOf(tree, type, tree.Oid(type)), word);
}

// The first that a PFX has otherwise.
DocumentPlace FindOtherShape(const NodeTree& tree) {
    const std::size_t version = tree.Child(tree.Root(), 0);
    const std::size_t authSafe = tree.Child(tree.Root(), 1);
    const auto wanted = [&](std::size_t node, const std::string& name) {
        return node == NodeTree::kNone
                   ? PlaceOf(tree, tree.Root(),
                             TypeName(tree.Tag(tree.Root())) + " without " + name)
                   : PlaceOf(tree, node, TypeName(tree.Tag(node)) + " in the place of " + name);
    };
    if (!tree.HasTag(tree.Root(), kSequence)) {
        return wanted(tree.Root(), "the document");
    }
    return tree.HasTag(version, kInteger) ? wanted(authSafe, "authSafe")
                                          : wanted(version, "version");
}

// A bag begins with its type, which may be the value of something as well. `before` is the element
// before.
bool BeginsKeyBag(const std::vector<std::uint8_t>& der, const DerElement& before,
                  const DerElement& element) {
    std::string oid;
    return before.identifier == kSequence && before.depth == element.depth - 1 &&
           element.identifier == kObjectIdentifier &&
           pkisdk::OidBlobToText(pkisdk::Blob(der.data() + element.content, element.length),
                                 &oid) != 0 &&
           oid == pkisdk::kShroudedKeyBagOid;
}

}  // namespace

void ThrowNoPfx(std::span<const std::uint8_t> document, std::uint32_t word) {
    if (document.empty()) {
        Throw("not a PFX document: the file is empty", kTakeAnother, std::nullopt, word);
    }
    RefuseOtherPem(document, word);
    RefuseIndefinite(document, word);
    const ParsedDocument read(document);
    if (!read.isWhole || read.tree.Size() == 0) {
        RefuseCutOff(document, word);
        RefuseTrail(document, word);
        if (auto place = FindUnread(read.tree)) {
            Throw("not a PFX document: what begins as DER can't be read as such", kMakeAnew,
                  std::move(place), word);
        }
        Throw("not a PFX document: neither DER nor base64 of it", kTakeAnother,
              DocumentPlace{0, "", ByteText(document[0])}, word);
    }
    RefuseOtherContent(read.tree, word);
    Throw("not a PFX document but DER of another kind", kTakeAnother, FindOtherShape(read.tree),
          word);
}

void ThrowNoDer(std::span<const std::uint8_t> document, std::uint32_t stop) {
    if (document.empty()) {
        Throw("not a DER document: the file is empty", kTakeDer, std::nullopt, 0);
    }
    RefuseCutOff(document, 0);
    RefuseTrail(document, 0);
    const std::vector<std::uint8_t> der = WithoutArmour({document.begin(), document.end()});
    const std::string found =
        stop == 0 ? ByteText(document[0]) : TypeName(der[stop]) + " that can't be read";
    Throw("not a DER document", kTakeDer, DocumentPlace{stop, "", found}, 0);
}

std::uint64_t CountBehind(std::span<const std::uint8_t> document) {
    const std::vector<std::uint8_t> der = WithoutArmour({document.begin(), document.end()});
    const std::uint64_t announced = AnnouncedSize(der);
    return announced == 0 || announced > der.size() ? 0 : der.size() - announced;
}

std::optional<ToolError> FindTrail(std::span<const std::uint8_t> document, std::uint32_t word) {
    const std::vector<std::uint8_t> der = WithoutArmour({document.begin(), document.end()});
    const std::uint64_t announced = AnnouncedSize(der);
    if (announced == 0 || announced >= der.size() ||
        !ParsedDocument(std::span(der).first(announced)).isWhole) {
        return std::nullopt;
    }
    ToolError error(ExitCode::kMalformed, BehindText(der.size() - announced), word,
                    "copy or download it again, as binary, or cut it to " +
                        std::to_string(announced) + " bytes of DER");
    error.place =
        DocumentPlace{static_cast<std::uint32_t>(announced), "", ByteText(der[announced])};
    return error;
}

void ThrowNoMac(std::span<const std::uint8_t> document) {
    constexpr auto kWord = static_cast<std::uint32_t>(NTE_BAD_DATA);
    const ParsedDocument read(document);
    if (!read.isWhole || !IsShapedAsPfx(read.tree)) {
        ThrowNoPfx(document, kWord);
    }
    // A private key has the shape of a document, too.
    RefuseOtherPem(document, kWord);
    RefuseIndefinite(document, kWord);
    RefuseOtherContent(read.tree, kWord);
    RefuseTrail(document, kWord);
    const NodeTree& tree = read.tree;
    const std::size_t tail = tree.Child(tree.Root(), 2);
    Throw("the document has no integrity value (MacData) to check the password by",
          "have it made again with one, of a GOST digest: openssl pkcs12 -export -macalg "
          "md_gost12_512",
          tail == NodeTree::kNone
              ? DocumentPlace{EncodedNodeSize(*read.list.begin()), "macData", "the end"}
              : PlaceOf(tree, tail, TypeName(tree.Tag(tail)) + " that is no MacData"),
          kWord);
}

bool BeginsAsPfx(std::span<const std::uint8_t> document) {
    // Content octets of 1.2.840.113549.1.7, whose arcs are the types of content.
    constexpr std::array<std::uint8_t, 8> kContentTypes{0x2A, 0x86, 0x48, 0x86,
                                                        0xF7, 0x0D, 0x01, 0x07};
    constexpr std::array kShape{kSequence, kInteger, kSequence, kObjectIdentifier};
    const std::vector<std::uint8_t> der = WithoutArmour({document.begin(), document.end()});
    const DerWalk walk = WalkDer(der);
    if (walk.elements.size() < kShape.size() ||
        !std::ranges::equal(kShape, std::span(walk.elements).first(kShape.size()), {}, {},
                            &DerElement::identifier)) {
        return false;
    }
    const DerElement& type = walk.elements[kShape.size() - 1];
    const auto octets = std::span(der).subspan(type.content, type.length);
    return type.depth == 2 && octets.size() > kContentTypes.size() &&
           std::ranges::equal(kContentTypes, octets.first(kContentTypes.size()));
}

std::optional<DocumentPlace> FindPem(std::span<const std::uint8_t> text) {
    std::size_t offset = 0;
    const std::string kind = PemKind(text, &offset);
    return kind.empty() ? std::nullopt : std::optional(PlaceOfPem(kind, offset));
}

std::optional<DocumentPlace> FindIndefinite(std::span<const std::uint8_t> document) {
    const std::vector<std::uint8_t> der = WithoutArmour({document.begin(), document.end()});
    const DerWalk walk = WalkDer(der);
    const auto element = std::ranges::find_if(walk.elements, &DerElement::isIndefinite);
    // Text may begin as such an element does.
    if (element == walk.elements.end() || (!walk.isWhole && walk.elements.size() < 2)) {
        return std::nullopt;
    }
    return DocumentPlace{element->offset, "", TypeName(*element) + " of indefinite length"};
}

// The list of a document's elements has nothing inside of one of indefinite length, and so sees
// another shape than the document has.
void RefuseIndefinite(std::span<const std::uint8_t> document, std::uint32_t word) {
    if (auto place = FindIndefinite(document)) {
        ThrowIndefinite("elements of indefinite length (BER) keep the document from being read",
                        std::move(place), word);
    }
}

void RefuseIndefiniteFrame(std::span<const std::uint8_t> document) {
    const std::vector<std::uint8_t> der = WithoutArmour({document.begin(), document.end()});
    const DerWalk walk = WalkDer(der);
    std::int32_t depthOfOctets = std::numeric_limits<std::int32_t>::max();
    for (const DerElement& element : walk.elements) {
        if (element.depth <= depthOfOctets) {
            depthOfOctets = element.identifier == kOctetString
                                ? element.depth
                                : std::numeric_limits<std::int32_t>::max();
            if (element.isIndefinite) {
                RefuseIndefinite(document, static_cast<std::uint32_t>(NTE_BAD_DATA));
            }
        }
    }
}

bool HidesKeys(std::span<const std::uint8_t> document) {
    if (!FindIndefinite(document)) {
        return false;
    }
    const std::vector<std::uint8_t> der = WithoutArmour({document.begin(), document.end()});
    const DerWalk walk = WalkDer(der);
    std::ptrdiff_t bags = 0;
    DerElement before;
    for (const DerElement& element : walk.elements) {
        bags += BeginsKeyBag(der, before, element) ? 1 : 0;
        before = element;
    }
    std::ptrdiff_t seen = 0;
    try {
        ForEachKeyBag(ParsedDocument(document).list,
                      [&](const PfxKeyBag&, std::uint32_t) { ++seen; });
    } catch (const pkisdk::Exception&) {
        return false;  // which ends a restore, and is told by it
    }
    return seen < bags;
}

void RefuseHiddenKeys(std::span<const std::uint8_t> document) {
    if (HidesKeys(document)) {
        ThrowIndefinite(
            "keys lie in elements of indefinite length (BER), where a restore does not "
            "find them",
            FindIndefinite(document), 0);
    }
}

}  // namespace mvlpfx
