#include "support/der_list_comparison.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "derlist/der_list.h"
#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "derlist/der_spans.h"
#include "platform/cryptoapi.h"
#include "support/reference_der_list.h"

namespace comparison {

namespace {

using pkisdk::Blob;
using pkisdk::DerList;
using pkisdk::DerNode;

constexpr const char* kOids[] = {"1.2", "1.2.3", "2.5.4.3", "1.2.840.113549.1.7.1", "1.2.840."};

// Keeps the edits of a long script from adding up to more than the literal list can do.
constexpr std::size_t kBytesOfAnEdit = 24;

struct Difference : std::runtime_error {
    using std::runtime_error::runtime_error;
};

void Require(bool equal, const std::string& what) {
    if (!equal) {
        throw Difference(what);
    }
}

bool SameBytes(const Blob& ours, const reference::Bytes& theirs) {
    return std::ranges::equal(ours.Bytes(), theirs);
}

void RequireSame(const DerNode& ours, const reference::Node& theirs, const std::string& what) {
    Require(ours.depth == theirs.depth, what + ": depth");
    Require(ours.tag == theirs.tag, what + ": tag");
    Require(SameBytes(ours.content, theirs.content), what + ": content");
    Require(ours.indefinite == theirs.indefinite, what + ": indefinite");
    Require(ours.contentLength == theirs.contentLength, what + ": contentLength");
    Require(ours.offset == theirs.offset, what + ": offset");
    Require(ours.scopeLength == theirs.scopeLength, what + ": scopeLength");
    Require(ours.scopeStart == theirs.scopeStart, what + ": scopeStart");
}

void RequireSame(const DerList& ours, const reference::List& theirs, const std::string& what) {
    Require(ours.size() == theirs.size(), what + ": size of the list");
    if (!ours.empty()) {
        RequireSame(ours.back(), theirs.back(), what + ", last node before a look");
    }
    auto their = theirs.begin();
    std::size_t position = 0;
    for (const DerNode& our : ours) {
        RequireSame(our, *their++, what + ", node " + std::to_string(position++));
    }
}

void RequireSame(const pkisdk::DerSpans& ours, const reference::List& theirs,
                 const std::string& what) {
    const auto nodes = ours.Nodes();
    Require(nodes.size() == theirs.size(), "number of nodes: " + what);
    auto their = theirs.begin();
    for (const pkisdk::DerSpan& our : nodes) {
        Require(our.depth == their->depth && our.tag == their->tag &&
                    our.contentLength == their->contentLength && our.offset == their->offset &&
                    std::ranges::equal(our.content, their->content),
                "a node: " + what);
        ++their;
    }
}

// Small numbers, of which a seed gives as many as are wanted.
class Choices {
  public:
    explicit Choices(std::uint64_t seed) : state_(seed) {}
    std::uint32_t Below(std::uint32_t limit) {
        state_ = state_ * 6364136223846793005U + 1442695040888963407U;
        return static_cast<std::uint32_t>(state_ >> 33) % limit;
    }

  private:
    std::uint64_t state_;
};

std::uint32_t ChooseMode(Choices& choices) {
    constexpr std::uint32_t modes[] = {pkisdk::DER_APPEND_AS_CHILD,
                                       pkisdk::DER_APPEND_AS_SIBLING,
                                       0,
                                       1,
                                       2,
                                       5,
                                       9,
                                       0x80000000,
                                       0xFFFFFFFD};
    return modes[choices.Below(std::size(modes))];
}

class Pair {
  public:
    void Parse(std::span<const std::uint8_t> document) {
        SetLastError(0x12345678);
        const auto size = static_cast<std::int32_t>(document.size());
        const int ours = pkisdk::ParseDerList(document.data(), size, &ours_);
        const DWORD error = GetLastError();
        const int theirs = reference::ParseDerList(document.data(), size, &theirs_);
        std::uint32_t expected = 0x12345678;
        if (size != 0) {
            reference::Bytes decoded;
            reference::DecodeTextArmour({document.begin(), document.end()}, &decoded, &expected);
        }
        Require(ours == theirs, "answer of ParseDerList");
        Require(error == expected, "last error of ParseDerList");
        RequireSame("ParseDerList");
    }

    void Subtrees(Choices& choices) const {
        const auto size = static_cast<std::uint32_t>(ours_.size());
        const std::int32_t inside = static_cast<std::int32_t>(choices.Below(size + 1));
        for (const std::int32_t index : {-1, 0, inside, static_cast<std::int32_t>(size)}) {
            const std::string what = "subtree at " + std::to_string(index);
            Blob ours;
            reference::Bytes theirs;
            Require(pkisdk::ExtractSubtree(ours_, index, &ours) ==
                        reference::ExtractSubtree(theirs_, index, &theirs),
                    "answer: " + what);
            Require(SameBytes(ours, theirs), "bytes: " + what);
            DerList ourList;
            reference::List theirList;
            const auto position = static_cast<std::uint32_t>(index);
            Require(pkisdk::ExtractSubtreeAsList(ours_, position, &ourList) ==
                        reference::ExtractSubtreeAsList(theirs_, position, &theirList),
                    "answer of the list: " + what);
            comparison::RequireSame(ourList, theirList, what);
        }
    }

    void Oids(Choices& choices) {
        std::string ours;
        std::string theirs;
        Require(
            pkisdk::GetFirstOidText(&ours_, &ours) == reference::GetFirstOidText(&theirs_, &theirs),
            "answer of GetFirstOidText");
        Require(ours == theirs, "GetFirstOidText");
        Occurrences(ours.empty() ? "1" : ours);
        Occurrences(kOids[choices.Below(std::size(kOids))]);
    }

    // The same document as spans, which stand for the list where nothing is edited.
    void Spans(std::span<const std::uint8_t> document, Choices& choices) const {
        pkisdk::DerSpans spans;
        reference::List parsed;
        const int expected = reference::ParseDerList(
            document.data(), static_cast<std::int32_t>(document.size()), &parsed);
        Require(spans.Parse(Blob(document.data(), document.size())) == (expected != 0),
                "answer of DerSpans::Parse");
        comparison::RequireSame(spans, parsed, "DerSpans::Parse");
        const auto size = static_cast<std::uint32_t>(parsed.size());
        for (const std::uint32_t index : {0U, choices.Below(size + 1), size}) {
            Blob ours;
            reference::Bytes theirs;
            Require(spans.Flatten(index, &ours) ==
                        (reference::ExtractSubtree(parsed, static_cast<std::int32_t>(index),
                                                   &theirs) != 0),
                    "answer of DerSpans::Flatten");
            Require(SameBytes(ours, theirs), "DerSpans::Flatten");
        }
        std::string own;
        reference::GetFirstOidText(&parsed, &own);
        for (const std::string& oid :
             {own, std::string(kOids[choices.Below(std::size(kOids))]), std::string("none")}) {
            pkisdk::DerSpans ours;
            reference::List theirs;
            const bool isFound = reference::FindByOid(&parsed, oid.c_str(), &theirs) != 0;
            Require(spans.FindByOid(oid.c_str(), &ours) == isFound,
                    "answer of DerSpans::FindByOid for " + oid);
            comparison::RequireSame(ours, theirs, "DerSpans::FindByOid for " + oid);
            InStructure(spans, oid, isFound ? theirs : reference::List(), choices);
        }
    }

    // `structure` is what the identifier's holder reads as; empty where that is nothing.
    static void InStructure(const pkisdk::DerSpans& spans, const std::string& oid,
                            const reference::List& structure, Choices& choices) {
        const auto size = static_cast<std::uint32_t>(structure.size());
        for (const std::uint32_t index : {0U, choices.Below(size + 1), size}) {
            Blob ours;
            reference::Bytes theirs;
            Require(spans.FlattenInStructure(oid.c_str(), index, &ours) ==
                        (reference::ExtractSubtree(structure, static_cast<std::int32_t>(index),
                                                   &theirs) != 0),
                    "answer of DerSpans::FlattenInStructure for " + oid);
            Require(SameBytes(ours, theirs), "DerSpans::FlattenInStructure for " + oid);
        }
    }

    void AppendOther(const Pair& source, std::uint32_t mode) {
        Require(pkisdk::AppendDerList(&ours_, &source.ours_, mode) ==
                    reference::AppendDerList(&theirs_, &source.theirs_, mode),
                "answer of AppendDerList");
        RequireSame("AppendDerList");
    }

    void AppendBytes(std::span<const std::uint8_t> bytes, std::uint32_t mode) {
        const auto size = static_cast<std::uint32_t>(bytes.size());
        Require(pkisdk::AppendDerBytes(&ours_, bytes.data(), size, mode) ==
                    reference::AppendDerBytes(&theirs_, bytes.data(), size, mode),
                "answer of AppendDerBytes");
    }

    // Whether the look at all nodes is taken is for the caller, since it must not matter.
    void AppendNode(std::int32_t depth, std::uint8_t tag, std::uint32_t size, bool reinsert) {
        DerNode our;
        our.depth = depth;
        our.tag = tag;
        our.content = Blob(size);
        our.indefinite = 1;
        our.contentLength = 77;
        our.offset = 4;
        our.scopeLength = 5;
        our.scopeStart = 6;
        reference::Node their{depth, tag, reference::Bytes(size), 1, 77, 4, 5, 6};
        if (reinsert) {
            Require(pkisdk::ReinsertDerNode(-1, std::move(our), &ours_) ==
                        reference::ReinsertDerNode(-1, their, &theirs_),
                    "answer of ReinsertDerNode");
        } else {
            Require(pkisdk::AppendDerNode(-1, std::move(our), &ours_) ==
                        reference::AppendDerNode(-1, their, &theirs_),
                    "answer of AppendDerNode");
        }
    }

    void DropLast() {
        ours_.DropLast();
        Require(reference::DropLastDerNode(&theirs_) == 1, "answer of DropLastDerNode");
    }

    void ReinsertAll() {
        ours_.ReinsertAll();
        reference::List rebuilt;
        for (const reference::Node& node : theirs_) {
            reference::ReinsertDerNode(-1, node, &rebuilt);
        }
        theirs_ = rebuilt;
    }

    // What a copy makes of it replaces the list, the copied one going on for a step of its own.
    void Copy() {
        DerList copy = ours_;
        ours_.Append(DerNode());
        std::swap(copy, ours_);
        DerList moved = std::move(ours_);
        ours_ = std::move(moved);
    }

    void RequireSame(const std::string& what) const {
        comparison::RequireSame(ours_, theirs_, what);
    }

    std::int32_t LastDepth() const { return theirs_.empty() ? -1 : theirs_.back().depth; }

  private:
    // Each match in turn, by number and by the cursor.
    void Occurrences(const std::string& oid) {
        constexpr std::uint32_t kLimit = 3;
        Require(pkisdk::FindByOid(&ours_, oid.c_str(), nullptr) ==
                    reference::FindByOid(&theirs_, oid.c_str(), nullptr),
                "answer of FindByOid to null for " + oid);
        pkisdk::OidMatchCursor cursor(ours_, oid.c_str());
        for (std::uint32_t occurrence = 0; occurrence <= kLimit; ++occurrence) {
            const std::string what = "match " + std::to_string(occurrence) + " of " + oid;
            DerList ours;
            reference::List theirs;
            const int expected =
                reference::FindNthByOid(&theirs_, oid.c_str(), occurrence, &theirs);
            Require(pkisdk::FindNthByOid(&ours_, oid.c_str(), occurrence, &ours) == expected,
                    "answer for " + what);
            comparison::RequireSame(ours, theirs, what);
            if (occurrence == 0) {
                continue;
            }
            DerList passed;
            Require((cursor.MoveNext() ? cursor.GetStructure(&passed) : 0) == expected,
                    "answer of the cursor for " + what);
            comparison::RequireSame(passed, theirs, "cursor at " + what);
            if (occurrence == 1) {
                DerList first;
                Require(pkisdk::FindByOid(&ours_, oid.c_str(), &first) == expected,
                        "answer of FindByOid for " + oid);
                comparison::RequireSame(first, theirs, "FindByOid for " + oid);
            }
        }
    }

    DerList ours_;
    reference::List theirs_;
};

void QueryAndEdit(Pair& pair, std::span<const std::uint8_t> document, Choices& choices) {
    pair.Subtrees(choices);
    pair.Oids(choices);
    Pair other;
    const std::uint32_t mode = ChooseMode(choices);
    if (choices.Below(2) == 0) {
        other.AppendNode(0, 0x30, 0, false);
    }
    other.AppendOther(pair, mode);
    pair.AppendOther(other, ChooseMode(choices));
    const auto half = static_cast<std::uint32_t>(document.size() / 2);
    pair.AppendBytes(document.first(half), ChooseMode(choices));
    pair.RequireSame("AppendDerBytes");
    for (int i = 0; i < 3; ++i) {
        pair.DropLast();
        pair.RequireSame("DropLast");
    }
    pair.AppendNode(pair.LastDepth() + 1, 0x02, 200, choices.Below(2) == 0);
    pair.RequireSame("append after drops");
}

}  // namespace

std::string CompareOnDocument(std::span<const std::uint8_t> document, std::uint64_t seed) {
    Choices choices(seed);
    try {
        Pair pair;
        pair.Parse(document);
        pair.Spans(document, choices);
        if (choices.Below(2) == 0) {
            QueryAndEdit(pair, document, choices);
        } else {
            pair.DropLast();
            pair.RequireSame("DropLast of a parsed list");
        }
    } catch (const Difference& difference) {
        return difference.what();
    }
    return {};
}

std::string CompareOnEdits(std::span<const std::uint8_t> script) {
    Pair pair;
    try {
        for (std::size_t i = 0; i + 1 < script.size(); i += 2) {
            const std::uint8_t edit = script[i];
            const std::uint8_t size = script[i + 1];
            switch (edit % 16) {
                case 0:
                    pair.DropLast();
                    break;
                case 1:
                    pair.Copy();
                    break;
                case 2:
                    pair.ReinsertAll();
                    break;
                case 3:
                    pair.RequireSame("look at edit " + std::to_string(i / 2));
                    break;
                case 4:
                    pair.AppendBytes(script.subspan(i, std::min(script.size() - i, kBytesOfAnEdit)),
                                     pkisdk::DER_APPEND_AS_CHILD);
                    break;
                case 5:
                    pair.AppendNode(pair.LastDepth() + 2, edit, size, false);
                    break;
                default:
                    // One step down, or up by as much as the upper bits say.
                    pair.AppendNode(pair.LastDepth() + 1 - (edit >> 4) / 2, edit, size,
                                    edit % 16 == 6);
                    break;
            }
        }
        pair.RequireSame("end of the edits");
    } catch (const Difference& difference) {
        return difference.what();
    }
    return {};
}

}  // namespace comparison
