// Whether what was written can be read again.
//
// The flat list's parser opens whatever reads as elements, and writes what it opened in its own
// normal form. Salts, encrypted keys and MACs read as elements by chance: about one in a thousand
// does, and a few in a hundred thousand then come out changed or don't parse at all. A reader would
// refuse such a document, or find another key in it or none.
#pragma once

#include <cstdint>
#include <span>

#include "derlist/der_list.h"

namespace pkisdk {

// Whether the bytes, one element, come out of the parser as they went in; `list`, which was empty,
// then holds the nodes that they read as.
bool ParseUnchanged(std::span<const std::uint8_t> bytes, DerList* list);
bool ComesOutUnchanged(std::span<const std::uint8_t> bytes);

// The same for the document that `built` gave, whose tail must in addition be found as it is there:
// that is where a reader looks for the MAC, its salt and the count.
bool IsReadable(const DerList& built, std::span<const std::uint8_t> document);

}  // namespace pkisdk
