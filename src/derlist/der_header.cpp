#include "derlist/der_header.h"

namespace pkisdk {

namespace {

constexpr std::uint8_t kIndefinite = 0x80;
constexpr std::uint32_t kMaxLengthOctets = 4;

bool IsLongForm(std::uint8_t first) {
    return first > kIndefinite && first <= kIndefinite + kMaxLengthOctets;
}

}  // namespace

int DecodeDerLength(std::span<const std::uint8_t> octets, std::uint32_t limit, std::uint32_t* value,
                    std::uint32_t* total) {
    if (octets.empty() || value == nullptr) {
        return 0;
    }
    const std::uint8_t first = octets[0];
    if (first == kIndefinite) {
        *total = kIndefiniteTotal;
        return 0;
    }
    if (!IsLongForm(first)) {
        if (first > limit) {
            return 0;
        }
        *value = first;
        *total = first + 1U;
        return 1;
    }
    const std::uint32_t count = first - 0x80U;
    if (count + 1 > limit || count + 1 > octets.size()) {
        return 0;
    }
    std::uint32_t length = 0;
    for (std::uint32_t i = 1; i <= count; ++i) {
        length = length << 8 | octets[i];
    }
    const std::uint32_t sum = count + length + 1;
    if (sum > limit) {
        return 0;
    }
    *value = length;
    *total = sum;
    return 1;
}

int ReadDerHeader(std::span<const std::uint8_t> document, std::uint32_t* cursor, DerNode* node) {
    if (cursor == nullptr || node == nullptr || node->scopeLength == 0) {
        return 0;
    }
    const std::uint32_t previous = node->offset;
    const std::uint32_t scope = node->scopeLength;
    std::uint32_t at = *cursor;
    while (at < document.size() && document[at] == 0 && at - previous < scope) {
        ++at;
    }
    if (at >= document.size() || at - previous > scope) {
        return 0;
    }
    node->offset = at;
    node->tag = document[at++];
    node->indefinite = 0;
    node->contentLength = 0;
    if (at - previous > scope) {
        // The identifier is the last octet of its scope and stands alone.
        *cursor = at;
        return 1;
    }
    std::uint32_t total = 0;
    if (DecodeDerLength(document.subspan(at), scope, &node->contentLength, &total) != 0) {
        *cursor = at + (total - node->contentLength);
        return 1;
    }
    if (total != kIndefiniteTotal || scope <= ++at - previous) {
        return 0;
    }
    node->indefinite = 1;
    node->contentLength = node->scopeStart - node->offset + scope - 2;
    *cursor = at;
    return 1;
}

std::uint8_t* WriteDerHeader(std::uint8_t tag, std::uint32_t contentLength, std::uint8_t* out) {
    const std::uint32_t size = HeaderSize(contentLength);
    *out++ = tag;
    if (size == 2) {
        *out++ = static_cast<std::uint8_t>(contentLength);
        return out;
    }
    *out++ = static_cast<std::uint8_t>(kIndefinite + size - 2);
    for (std::uint32_t left = size - 2; left-- > 0;) {
        *out++ = static_cast<std::uint8_t>(contentLength >> (8 * left));
    }
    return out;
}

}  // namespace pkisdk
