// Prints the type of the provider as the registry gives it, and the temporary directory.
#include <cstdio>

#include "platform/cryptoapi.h"

// AddressSanitizer's leak check cannot trace a set-user-id process, which ignores its environment.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "detect_leaks=0";
}

int main() {
    HKEY key = nullptr;
    DWORD type = 0;
    DWORD size = sizeof(type);
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE,
                      "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\"
                      "Velmorix Cryptographic Service Provider",
                      0, KEY_READ, &key) != ERROR_SUCCESS ||
        RegQueryValueExA(key, "Type", nullptr, nullptr, reinterpret_cast<BYTE*>(&type), &size) !=
            ERROR_SUCCESS) {
        return 1;
    }
    char temporary[MAX_PATH] = {};
    GetTempPathA(sizeof(temporary), temporary);
    std::printf("%u %s\n", static_cast<unsigned>(type), temporary);
    return RegCloseKey(key);
}
