// The algorithms of this provider, and the parameters that are its own.
#pragma once

#include "platform/cryptoapi.h"

namespace provider {

inline constexpr char kName[] = "Velmorix Cryptographic Service Provider";
inline constexpr DWORD kType = 2;
// High byte major, low byte minor, as PP_VERSION gives it.
inline constexpr DWORD kVersion = 0x0001;

inline constexpr ALG_ID kGost28147 = 0x661E;
inline constexpr ALG_ID kGostR3411_94 = 0x801E;
inline constexpr ALG_ID kGostR3411_2012_256 = 0x8021;
inline constexpr ALG_ID kGostR3411_2012_512 = 0x8022;

// A cipher's parameter set, as the dotted text of its identifier with terminator.
inline constexpr DWORD kCipherOidParameter = 104;

}  // namespace provider
