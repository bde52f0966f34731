// Both readers of a document, the list with its nodes and the spans that stay in the bytes, held
// against each other. No literal version slows it down, so that very many inputs go through it.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "derlist/der_spans.h"
#include "support/der_mutator.h"

namespace {

using pkisdk::Blob;
using pkisdk::DerList;
using pkisdk::DerNode;
using pkisdk::DerSpan;
using pkisdk::DerSpans;

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void RequireSame(const DerList& list, const DerSpans& spans) {
    Require(std::ranges::equal(list, spans.Nodes(), [](const DerNode& node, const DerSpan& span) {
        return node.depth == span.depth && node.tag == span.tag && node.offset == span.offset &&
               node.contentLength == span.contentLength &&
               std::ranges::equal(node.content.Bytes(), span.content);
    }));
}

}  // namespace

std::size_t OctetsBeforeDocument(std::span<const std::uint8_t> /*input*/) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    DerList list;
    DerSpans spans;
    const bool isRead = pkisdk::ParseDerList(data, static_cast<std::int32_t>(size), &list) != 0;
    Require(spans.Parse(Blob(data, size)) == isRead);
    RequireSame(list, spans);

    Blob written;
    Blob writtenSpans;
    Require((pkisdk::FlattenSubtree(list, 0, &written) != 0) == spans.Flatten(0, &writtenSpans));
    Require(written == writtenSpans);

    std::string oid;
    if (pkisdk::GetFirstOidText(&list, &oid) != 0) {
        DerList structure;
        DerSpans structureSpans;
        const bool isFound = pkisdk::FindByOid(&list, oid.c_str(), &structure) != 0;
        Require(spans.FindByOid(oid.c_str(), &structureSpans) == isFound);
        RequireSame(structure, structureSpans);
    }
    return 0;
}
