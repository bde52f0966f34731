// The provider in the registry. It is there when a test program starts, since CRYPT32 looks for
// rows of identifiers once in a process.
#pragma once

#include <gtest/gtest.h>

#include "platform/cryptoapi.h"

namespace windows_tests {

inline constexpr char kProviderName[] = "Velmorix Cryptographic Service Provider";
inline constexpr char kProviderKey[] =
    "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\Velmorix Cryptographic Service "
    "Provider";
inline constexpr char kTypeKey[] =
    "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type 002";

// A library beside the program, which holds it for good.
inline HMODULE Library(const char* name) {
    const HMODULE library = LoadLibraryA(name);
    EXPECT_NE(library, nullptr) << name << ' ' << GetLastError();
    return library;
}

// What `name` of `library`, one of the two functions of a registration, answers.
inline HRESULT CallServer(const char* library, const char* name) {
    using Server = HRESULT(WINAPI*)();
    const auto server =
        reinterpret_cast<Server>(reinterpret_cast<void*>(GetProcAddress(Library(library), name)));
    EXPECT_NE(server, nullptr) << name;
    return server == nullptr ? E_FAIL : server();
}

inline bool HasKey(const char* path) {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(key);
    return true;
}

}  // namespace windows_tests
