#include "pfxexport/read_back.h"

#include <algorithm>
#include <iterator>

#include "derlist/round_trip.h"

namespace pkisdk {

namespace {

// The value, its salt and the count.
constexpr std::ptrdiff_t kTailNodes = 3;

bool IsSameNode(const DerNode& one, const DerNode& other) {
    return one.depth == other.depth && one.tag == other.tag && one.content == other.content;
}

}  // namespace

bool IsReadable(const DerList& built, std::span<const std::uint8_t> document) {
    DerList read;
    return ParseUnchanged(document, &read) && read.size() >= kTailNodes &&
           built.size() >= kTailNodes &&
           std::equal(std::prev(built.end(), kTailNodes), built.end(),
                      std::prev(read.end(), kTailNodes), &IsSameNode);
}

}  // namespace pkisdk
