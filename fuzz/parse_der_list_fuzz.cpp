// ParseDerList and what is asked of its list, held against the literal version; inputs too large
// for that one, which is quadratic, are only parsed, queried and flattened.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "support/der_list_comparison.h"
#include "support/der_mutator.h"

namespace {

constexpr std::size_t kLiteralLimit = 1536;
constexpr std::size_t kScriptLimit = 256;

void RunAlone(std::span<const std::uint8_t> document) {
    pkisdk::DerList list;
    pkisdk::ParseDerList(document.data(), static_cast<std::int32_t>(document.size()), &list);
    pkisdk::Blob bytes;
    pkisdk::FlattenSubtree(list, 0, &bytes);
    list.DropLast();
    pkisdk::FindByOid(&list, "1.2.840.113549.1.7.1", &list);
}

// Fixed by the bytes, so that an input always does the same.
std::uint64_t Seed(std::span<const std::uint8_t> document) {
    std::uint64_t seed = document.size();
    for (const std::uint8_t byte : document) {
        seed = seed * 31 + byte;
    }
    return seed;
}

}  // namespace

std::size_t OctetsBeforeDocument(std::span<const std::uint8_t> /*input*/) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> document(data, size);
    RunAlone(document);
    if (size <= kLiteralLimit) {
        std::string difference = comparison::CompareOnDocument(document, Seed(document));
        if (difference.empty() && size <= kScriptLimit) {
            difference = comparison::CompareOnEdits(document);
        }
        if (!difference.empty()) {
            std::fprintf(stderr, "%s\n", difference.c_str());
            std::abort();
        }
    }
    return 0;
}
