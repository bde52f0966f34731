// Identifier octets by which documents are looked at.
#pragma once

#include <cstdint>

namespace mvlpfx {

inline constexpr std::uint8_t kInteger = 0x02;
inline constexpr std::uint8_t kBitString = 0x03;
inline constexpr std::uint8_t kOctetString = 0x04;
inline constexpr std::uint8_t kNull = 0x05;
inline constexpr std::uint8_t kObjectIdentifier = 0x06;
inline constexpr std::uint8_t kSequence = 0x30;
inline constexpr std::uint8_t kSet = 0x31;
inline constexpr std::uint8_t kContext0 = 0xA0;

}  // namespace mvlpfx
