#include "derlist/round_trip.h"

#include <algorithm>

#include "derlist/der_parser.h"
#include "derlist/der_queries.h"

namespace pkisdk {

bool ParseUnchanged(std::span<const std::uint8_t> bytes, DerList* list) {
    Blob written;
    return ParseDerList(bytes.data(), static_cast<std::int32_t>(bytes.size()), list) != 0 &&
           FlattenSubtree(*list, 0, &written) != 0 && std::ranges::equal(written.Bytes(), bytes);
}

bool ComesOutUnchanged(std::span<const std::uint8_t> bytes) {
    DerList list;
    return ParseUnchanged(bytes, &list);
}

}  // namespace pkisdk
