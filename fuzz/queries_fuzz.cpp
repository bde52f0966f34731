// The queries of a flat list, held against the literal ones. An input is a length, so many octets
// of an identifier's text, four octets that are a position, an occurrence and a mode, and the
// document.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "support/der_mutator.h"
#include "support/reference_der_list.h"

namespace {

// The literal version is quadratic.
constexpr std::size_t kLargestDocument = 1024;

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool IsSame(const pkisdk::Blob& ours, const reference::Bytes& theirs) {
    return std::ranges::equal(ours.Bytes(), theirs);
}

bool IsSame(const pkisdk::DerList& ours, const reference::List& theirs) {
    return std::ranges::equal(
        ours, theirs, [](const pkisdk::DerNode& our, const reference::Node& their) {
            return our.depth == their.depth && our.tag == their.tag &&
                   IsSame(our.content, their.content) && our.contentLength == their.contentLength;
        });
}

constexpr std::size_t kNumberOctets = 4;

std::size_t TextLength(std::span<const std::uint8_t> input) {
    return input[0] % 32U;
}

struct Query {
    std::string oid;
    std::uint32_t number = 0;
};

Query TakeQuery(std::span<const std::uint8_t>* input) {
    Query query;
    const std::size_t length = std::min(TextLength(*input), input->size() - 1);
    const auto text = input->subspan(1, length);
    query.oid.assign(text.begin(), text.end());
    *input = input->subspan(1 + length);
    for (std::size_t i = std::min(kNumberOctets, input->size()); i != 0; --i) {
        query.number = query.number << 8 | input->front();
        *input = input->subspan(1);
    }
    return query;
}

struct Lists {
    pkisdk::DerList ours;
    reference::List theirs;
};

void CompareByOid(Lists* lists, const Query& query) {
    const char* const oid = query.oid.c_str();
    Lists found;
    const int first = pkisdk::FindByOid(&lists->ours, oid, &found.ours);
    Require(first == reference::FindByOid(&lists->theirs, oid, &found.theirs));
    Require(first == 0 || IsSame(found.ours, found.theirs));
    const std::uint32_t occurrence = query.number % 16;
    const int nth = pkisdk::FindNthByOid(&lists->ours, oid, occurrence, &found.ours);
    Require(nth == reference::FindNthByOid(&lists->theirs, oid, occurrence, &found.theirs));
    Require(nth == 0 || IsSame(found.ours, found.theirs));
    std::string text;
    std::string expected;
    Require(pkisdk::GetFirstOidText(&lists->ours, &text) ==
            reference::GetFirstOidText(&lists->theirs, &expected));
    Require(text == expected);
}

void CompareByPosition(const Lists& lists, std::uint32_t number) {
    const auto index = static_cast<std::int32_t>(number);
    pkisdk::Blob bytes;
    reference::Bytes expected;
    Require(pkisdk::ExtractSubtree(lists.ours, index, &bytes) ==
            reference::ExtractSubtree(lists.theirs, index, &expected));
    Require(IsSame(bytes, expected));
    Lists subtree;
    const int answer = pkisdk::ExtractSubtreeAsList(lists.ours, number, &subtree.ours);
    Require(answer == reference::ExtractSubtreeAsList(lists.theirs, number, &subtree.theirs));
    Require(answer == 0 || IsSame(subtree.ours, subtree.theirs));
}

void CompareAppend(Lists lists, std::uint32_t mode, std::span<const std::uint8_t> document) {
    const auto size = static_cast<std::uint32_t>(document.size());
    Require(pkisdk::AppendDerBytes(&lists.ours, document.data(), size, mode) ==
            reference::AppendDerBytes(&lists.theirs, document.data(), size, mode));
    Require(IsSame(lists.ours, lists.theirs));
}

}  // namespace

std::size_t OctetsBeforeDocument(std::span<const std::uint8_t> input) {
    return 1 + TextLength(input) + kNumberOctets;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    std::span<const std::uint8_t> document(data, size);
    const Query query = TakeQuery(&document);
    document = document.first(std::min(document.size(), kLargestDocument));
    Lists lists;
    const auto length = static_cast<std::int32_t>(document.size());
    Require(pkisdk::ParseDerList(document.data(), length, &lists.ours) ==
            reference::ParseDerList(document.data(), length, &lists.theirs));
    CompareByOid(&lists, query);
    // Near the list's positions, and anywhere.
    const auto nodes = static_cast<std::uint32_t>(lists.ours.size());
    CompareByPosition(lists, query.number % (nodes + 1));
    CompareByPosition(lists, query.number);
    CompareAppend(lists, query.number, document);
    return 0;
}
