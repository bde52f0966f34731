// What the registry knows of a provider.
#pragma once

#include <cstdint>

#include "foundation/blob.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

inline constexpr std::uint32_t kProviderTypeNotFound = 0xFFFFFFFF;

// The numeric type of the provider with this name (ANSI), read from its registry key under
// HKEY_LOCAL_MACHINE; kProviderTypeNotFound where there is no such key or value. A value of fewer
// than four bytes gives those it has.
std::uint32_t FindProviderType(const char* providerName);

// Walks the values of an open key for "Type", whatever `name` says: its one caller asks for no
// other. The name's case and its end count. Answers 1 with the value's data in `data`, or 0.
int ReadRegistryValueByName(HKEY key, const char* name, IBlob* data);

}  // namespace pkisdk
