// Whether a document that was written can be read again: a reader would refuse one whose salts,
// keys or MAC its parser changes, or find another key in it or none.
#pragma once

#include <cstdint>
#include <span>

#include "derlist/der_list.h"

namespace pkisdk {

// Whether the document comes out of the parser as it went in, and the tail of the list that it was
// built from is found where it was: that is where a reader looks for the MAC, its salt and the
// count.
bool IsReadable(const DerList& built, std::span<const std::uint8_t> document);

}  // namespace pkisdk
