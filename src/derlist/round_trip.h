// Whether bytes are still the same once they were read and written again.
//
// The parser opens whatever reads as elements, and what it opened is written in its own normal
// form: minimal lengths, no zeros in front. Salts, keys, signatures and MACs read as elements by
// chance: about one in a thousand does, and a few in a hundred thousand then come out changed or
// don't parse at all.
#pragma once

#include <cstdint>
#include <span>

#include "derlist/der_list.h"

namespace pkisdk {

// Whether the bytes, one element, come out of the parser as they went in; `list`, which was empty,
// then holds the nodes that they read as.
bool ParseUnchanged(std::span<const std::uint8_t> bytes, DerList* list);
bool ComesOutUnchanged(std::span<const std::uint8_t> bytes);

}  // namespace pkisdk
