#include "derlist/element_runs.h"

#include <array>

namespace pkisdk {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint64_t kNowhere = ~std::uint64_t{0};

constexpr std::array<bool, 256> MakeElementTags() {
    constexpr std::array<std::uint8_t, 19> universal{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x0A,
                                                     0x0C, 0x10, 0x11, 0x12, 0x13, 0x14, 0x16,
                                                     0x17, 0x18, 0x1E, 0x30, 0x31};
    std::array<bool, 256> tags{};
    for (const std::uint8_t tag : universal) {
        tags[tag] = true;
    }
    for (std::size_t number = 0; number < 16; ++number) {
        tags[0x80 + number] = true;
        tags[0xA0 + number] = true;
    }
    return tags;
}

constexpr std::array<bool, 256> kElementTags = MakeElementTags();

// Where the element behind the one at `at` begins, which may be past the end of the document;
// kNowhere when none can be at `at`. Positions have room for a length of 32 bits, so that a jump
// always leads forward.
std::uint64_t Successor(Bytes document, std::uint64_t at) {
    if (document.size() < at + 2 || !kElementTags[document[at]]) {
        return kNowhere;
    }
    const std::uint8_t first = document[at + 1];
    if (first < 0x81 || first > 0x84) {
        return at + 2 + first;
    }
    const std::uint64_t value = at + 2 + (first - 0x80U);
    if (document.size() < value) {
        return kNowhere;
    }
    std::uint64_t length = 0;
    for (std::uint64_t i = at + 2; i < value; ++i) {
        length = length << 8 | document[i];
    }
    return value + length;
}

}  // namespace

ElementRuns::Forest::Forest(Bytes document) : first_(document.size() + 1), size_(first_.size(), 1) {
    const std::uint64_t nodes = first_.size();
    for (std::uint64_t at = 0; at < nodes; ++at) {
        const std::uint64_t next = Successor(document, at);
        if (next < nodes) {
            size_[next] += size_[at];
        }
    }
    std::vector<std::uint32_t> nextChild(first_.size());
    std::uint32_t nextRoot = 0;
    for (std::uint64_t at = nodes; at-- > 0;) {
        const std::uint64_t next = Successor(document, at);
        std::uint32_t& number = next < nodes ? nextChild[next] : nextRoot;
        first_[at] = number;
        nextChild[at] = number + 1;
        number += size_[at];
    }
}

bool ElementRuns::Forest::Leads(std::uint32_t from, std::uint32_t to) const {
    return first_[from] - first_[to] < size_[to];
}

ElementRuns::ElementRuns(Bytes document) : document_(document), stepsLeft_(document.size()) {}

bool ElementRuns::LooksLikeDer(std::uint32_t first, std::uint32_t length) {
    const std::uint64_t end = std::uint64_t{first} + length;
    std::uint64_t at = first;
    while (at < end && document_[at] == 0) {
        ++at;
    }
    if (at == end) {
        return false;
    }
    while (!forest_ && at < end) {
        if (stepsLeft_-- == 0) {
            forest_.emplace(document_);
            break;
        }
        at = Successor(document_, at);
    }
    return forest_ ? forest_->Leads(static_cast<std::uint32_t>(at), static_cast<std::uint32_t>(end))
                   : at == end;
}

bool LooksLikeDer(Bytes content) {
    return ElementRuns(content).LooksLikeDer(0, static_cast<std::uint32_t>(content.size()));
}

}  // namespace pkisdk
