// What ties a certificate to its key.
#pragma once

#include <array>
#include <cstdint>

#include "foundation/blob.h"

namespace pkisdk {

// The content of a localKeyId: always four octets, least significant first.
inline Blob LocalKeyId(std::uint32_t keyIndex) {
    const std::array<std::uint8_t, 4> octets{
        static_cast<std::uint8_t>(keyIndex), static_cast<std::uint8_t>(keyIndex >> 8),
        static_cast<std::uint8_t>(keyIndex >> 16), static_cast<std::uint8_t>(keyIndex >> 24)};
    return Blob(octets.data(), octets.size());
}

}  // namespace pkisdk
