// Prints the type of the provider as the registry gives it.
#include <cstdio>

#include "platform/cryptoapi.h"

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
    std::printf("%u\n", static_cast<unsigned>(type));
    return RegCloseKey(key);
}
