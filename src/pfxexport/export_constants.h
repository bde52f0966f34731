// Object identifiers of the documents that are written, as dotted text, and the tags of the flat
// list's nodes.
#pragma once

#include <cstdint>

#include "platform/cryptoapi.h"

namespace pkisdk {

inline constexpr char kDataOid[] = "1.2.840.113549.1.7.1";
inline constexpr char kEncryptedDataOid[] = "1.2.840.113549.1.7.6";
inline constexpr char kShroudedKeyBagOid[] = "1.2.840.113549.1.12.10.1.2";
inline constexpr char kCertBagOid[] = "1.2.840.113549.1.12.10.1.3";
inline constexpr char kX509CertificateOid[] = "1.2.840.113549.1.9.22.1";
inline constexpr char kFriendlyNameOid[] = "1.2.840.113549.1.9.20";
inline constexpr char kLocalKeyIdOid[] = "1.2.840.113549.1.9.21";
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
