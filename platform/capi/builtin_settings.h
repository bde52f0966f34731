// The settings that hold where the file says nothing.
#pragma once

#include "capi/settings.h"

namespace capi {

// The key under which providers are named, each a key of its own under it.
inline constexpr char kProvidersKey[] =
    "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider";
inline constexpr char kDefaultProviderName[] = "Velmorix Cryptographic Service Provider";
inline constexpr DWORD kDefaultProviderType = 2;

// Adds the provider that comes with this library: its "Type", and as "Image Path" velmorixcsp.so
// beside the library or in velmorix/ there, failing both where it was to be installed.
void AddBuiltinSettings(Settings* settings);

}  // namespace capi
