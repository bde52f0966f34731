// Identifier and length octets as the parser of the flat list reads them.
//
// An identifier is one octet whatever it says. Length octets 0x81 to 0x84 are followed by one to
// four octets of length, 0x80 is the indefinite form, and every other octet, those from 0x85 up
// included, is the length itself. Lengths are measured against the scope around the element, not
// against what is left of the document: whether the value is there is for the caller to see.
#pragma once

#include <cstdint>
#include <span>

#include "derlist/der_node.h"

namespace pkisdk {

inline constexpr std::uint32_t kIndefiniteTotal = 0xFFFFFFFF;

// Reads the length octets at the start of `octets`. `*total` counts them and the value, wraps at 32
// bits and must not pass `limit`. Answers 1, or 0 with `*total` untouched; for the indefinite form
// alone 0 with `*total` set to kIndefiniteTotal, so that a length which adds up to that number is
// refused and not taken for it.
int DecodeDerLength(std::span<const std::uint8_t> octets, std::uint32_t limit, std::uint32_t* value,
                    std::uint32_t* total);

// Reads the header at `*cursor`, passing zero bytes in front of it. On entry `node->offset` is that
// of the element read before and `scopeLength`, `scopeStart` tell the scope; on success `tag`,
// `indefinite`, `contentLength` and `offset` are set and `*cursor` stands at the first octet of the
// value. The length of an indefinite element is an estimate from the end of the scope. Answers 0,
// with `*cursor` untouched and those fields of `*node` without meaning, when the scope or the
// document ends in the header.
int ReadDerHeader(std::span<const std::uint8_t> document, std::uint32_t* cursor, DerNode* node);

// Writes the HeaderSize(contentLength) octets of identifier and length to `out` and answers the
// place behind them.
std::uint8_t* WriteDerHeader(std::uint8_t tag, std::uint32_t contentLength, std::uint8_t* out);

}  // namespace pkisdk
