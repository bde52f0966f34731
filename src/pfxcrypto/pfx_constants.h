// The algorithms and sizes that every encrypted or authenticated object of a document shares.
#pragma once

#include <cstdint>

#include "platform/cryptoapi.h"

namespace pkisdk {

inline constexpr char kProviderName[] = "Velmorix Cryptographic Service Provider";

inline constexpr DWORD kProviderType = 2;

inline constexpr ALG_ID kGost28147 = 0x661E;      // cipher
inline constexpr ALG_ID kGostR3411_94 = 0x801E;   // hash of 32 bytes
inline constexpr ALG_ID kGostR3411_256 = 0x8021;  // hash of 32 bytes
inline constexpr ALG_ID kGostR3411_512 = 0x8022;  // hash of 64 bytes

// The provider's name for it is KP_CIPHEROID: a cipher's parameter set as dotted text.
inline constexpr DWORD kCipherOidParameter = 104;

inline constexpr std::uint32_t kDefaultIterations = 2000;
inline constexpr std::uint32_t kPasswordLimit = 32;  // bytes, in either encoding
inline constexpr std::uint32_t kKeySize = 32;        // bytes of a GOST 28147-89 key
inline constexpr std::uint32_t kVectorSize = 8;      // bytes of its initial vector
inline constexpr std::uint32_t kSaltSize = 32;       // bytes of a salt that is made here

}  // namespace pkisdk
