#include "pfximport/key_container.h"

#include <vector>

#include "pfxcrypto/pfx_constants.h"
#include "pfxcrypto/runtime_random.h"

namespace pkisdk {

namespace {

DWORD ScopeFlag(bool isMachineKey) {
    return isMachineKey ? CRYPT_MACHINE_KEYSET : 0;
}

bool ContainerExists(const std::string& name, bool isMachineKey) {
    ProviderContext provider;
    const DWORD flags = CRYPT_SILENT | ScopeFlag(isMachineKey);
    if (!CryptAcquireContextA(provider.Put(), name.c_str(), kProviderName, kProviderType, flags)) {
        SetLastError(0);
        return false;
    }
    return true;
}

bool GetUniqueName(HCRYPTPROV provider, std::vector<char>* name) {
    DWORD size = 0;
    if (!CryptGetProvParam(provider, PP_UNIQUE_CONTAINER, nullptr, &size, 0)) {
        return false;
    }
    // With room for a terminator, whatever the provider writes.
    name->assign(std::size_t{size} + 1, '\0');
    return CryptGetProvParam(provider, PP_UNIQUE_CONTAINER, reinterpret_cast<BYTE*>(name->data()),
                             &size, 0) != FALSE;
}

bool SetPin(HCRYPTPROV provider, const char* pin) {
    return CryptSetProvParam(provider, PP_SIGNATURE_PIN, reinterpret_cast<const BYTE*>(pin), 0) !=
           FALSE;
}

}  // namespace

void ChooseContainerName(bool isMachineKey, std::string* name) {
    constexpr int kTries = 2;
    for (int i = 0; i < kTries; ++i) {
        if (ContainerExists(*name, isMachineKey)) {
            name->clear();
            MakeRandomContainerName(name);
        }
    }
    if (name->empty()) {
        MakeRandomContainerName(name);
    }
}

bool CreateContainer(const char* password, const ContainerOptions& options, std::string* name,
                     ProviderContext* provider) {
    const DWORD flags =
        CRYPT_NEWKEYSET | ScopeFlag(options.isMachineKey) | (options.isSilent ? CRYPT_SILENT : 0);
    std::vector<char> uniqueName;
    if (!CryptAcquireContextA(provider->Put(), name->c_str(), kProviderName, kProviderType,
                              flags) ||
        !GetUniqueName(provider->Get(), &uniqueName) ||
        (options.isSilent && !SetPin(provider->Get(), password))) {
        return false;
    }
    *name = uniqueName.data();
    return true;
}

}  // namespace pkisdk
