#include "pfxcrypto/provider_lookup.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "pfxcrypto/handle_guards.h"

namespace pkisdk {

namespace {

constexpr char kProvidersKey[] = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr char kTypeValue[] = "Type";
constexpr DWORD kClassBuffer = 260;
constexpr DWORD kNameBuffer = 16383;

DWORD CountValues(HKEY key) {
    std::array<char, kClassBuffer> className{};
    DWORD classSize = kClassBuffer;
    DWORD values = 0;
    DWORD longestData = 0;
    const LONG status =
        RegQueryInfoKeyA(key, className.data(), &classSize, nullptr, nullptr, nullptr, nullptr,
                         &values, nullptr, &longestData, nullptr, nullptr);
    return status == ERROR_SUCCESS ? values : 0;
}

// Name and data size of the value at `index`; with `data`, its bytes as well.
bool EnumValue(HKEY key, DWORD index, std::vector<char>* name, BYTE* data, DWORD* dataSize) {
    name->assign(kNameBuffer, '\0');
    DWORD nameSize = kNameBuffer;
    return RegEnumValueA(key, index, name->data(), &nameSize, nullptr, nullptr, data, dataSize) ==
           ERROR_SUCCESS;
}

}  // namespace

int ReadRegistryValueByName(HKEY key, [[maybe_unused]] const char* name, IBlob* data) {
    const DWORD values = CountValues(key);
    std::vector<char> valueName;
    for (DWORD index = 0; index < values; ++index) {
        DWORD size = 0;
        if (!EnumValue(key, index, &valueName, nullptr, &size) ||
            std::memcmp(valueName.data(), kTypeValue, sizeof kTypeValue) != 0) {
            continue;
        }
        data->SetSize(size);
        if (EnumValue(key, index, &valueName, data->GetData(), &size)) {
            return 1;
        }
    }
    return 0;
}

std::uint32_t FindProviderType(const char* providerName) {
    std::uint32_t type = kProviderTypeNotFound;
    const std::string path = std::string(kProvidersKey) + providerName;
    RegistryKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS) {
        return type;
    }
    Blob data;
    if (ReadRegistryValueByName(key.Get(), kTypeValue, &data) != 0 && !data.IsEmpty()) {
        type = 0;
        std::memcpy(&type, data.GetData(), std::min<std::size_t>(sizeof type, data.GetSize()));
    }
    return type;
}

}  // namespace pkisdk
