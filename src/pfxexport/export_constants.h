// What only documents that are written name: an attribute, and the tags of the flat list's nodes.
#pragma once

#include <cstdint>

#include "pfxcrypto/document_oids.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

inline constexpr char kProviderNameOid[] = "1.3.6.1.4.1.311.17.1";

inline constexpr std::uint8_t kIntegerTag = 0x02;
inline constexpr std::uint8_t kOctetStringTag = 0x04;
inline constexpr std::uint8_t kObjectIdTag = 0x06;
inline constexpr std::uint8_t kSequenceTag = 0x30;
inline constexpr std::uint8_t kSetTag = 0x31;
inline constexpr std::uint8_t kContext0Tag = 0xA0;

// The flag of an export that asks for the names in the attributes of key bags.
inline constexpr DWORD kWithNames = 0x10;

}  // namespace pkisdk
