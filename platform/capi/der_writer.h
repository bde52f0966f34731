// DER elements from the inside out, for structures of which every part is known.
#pragma once

#include <initializer_list>
#include <span>

#include "capi/x509.h"

namespace capi {

// An element of tag `identifier` whose content is the parts in their order.
Bytes DerElement(BYTE identifier, std::initializer_list<std::span<const BYTE>> parts);

inline Bytes DerSequence(std::initializer_list<std::span<const BYTE>> parts) {
    return DerElement(0x30, parts);
}

// From dotted text. Throws ErrorWord(E_INVALIDARG) for other text.
Bytes DerObjectIdentifier(const char* dotted);

// BIT STRING of whole octets.
Bytes DerBitString(std::span<const BYTE> octets);

}  // namespace capi
