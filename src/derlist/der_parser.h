// Bytes of a document, or base64 or PEM text of one, to a flat list.
//
// The parser knows no schema and opens whatever reads as a run of elements: OCTET STRING, BIT
// STRING and context values too. What it opens has empty content, but for a BIT STRING longer than
// two bytes, which keeps one zero byte. A scope ends when its children, counted with minimal
// headers, add up to its length; zero bytes between elements are passed over; what follows the
// first element becomes its child. Time and memory are linear in the document.
#pragma once

#include <cstdint>

#include "derlist/der_list.h"

namespace pkisdk {

// Replaces what `out` holds; `size`, taken as unsigned, counts the bytes at `data`, which may lie
// in `out` and are not referred to afterwards. Answers 1, or 0 when `out` is null or the bytes
// don't read as a document: `out` then holds the nodes read so far. Lengths are those of the
// source, unless one was indefinite: then all are added up anew. Sets the last error as
// DecodeArmour does.
std::int32_t ParseDerList(const std::uint8_t* data, std::int32_t size, DerList* out);

}  // namespace pkisdk
