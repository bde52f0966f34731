// A reader with a fault that the fuzzing has to find before the others are believed: it takes the
// salt of a document's MAC into room for 32 octets, however long the salt is. The salt stands deep
// enough that flips of octets rarely lengthen it and leave a document.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "derlist/der_spans.h"
#include "support/der_mutator.h"

std::size_t OctetsBeforeDocument(std::span<const std::uint8_t> /*input*/) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    pkisdk::DerSpans document;
    if (!document.Parse(pkisdk::Blob(data, size)) || document.Nodes().size() < 9) {
        return 0;
    }
    const auto tail = document.Nodes().last(8);
    // MacData, DigestInfo, AlgorithmIdentifier, its identifier and parameters, the value, the salt
    // and the count.
    const std::uint8_t tags[] = {0x30, 0x30, 0x30, 0x06, 0x05, 0x04, 0x04, 0x02};
    const std::int32_t depths[] = {1, 2, 3, 4, 4, 3, 2, 2};
    if (std::ranges::equal(tail, tags, {}, &pkisdk::DerSpan::tag) &&
        std::ranges::equal(tail, depths, {}, &pkisdk::DerSpan::depth)) {
        std::vector<std::uint8_t> salt(32);
        std::ranges::copy(tail[6].content, salt.begin());
    }
    return 0;
}
