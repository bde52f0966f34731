#include "support/containers_in_csp.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "pfxcrypto/handle_guards.h"
#include "pfxcrypto/pfx_constants.h"
#include "platform/csp_parameters.h"

namespace test_support {

namespace {

using pkisdk::ProviderContext;
using pkisdk::ProviderHash;
using pkisdk::ProviderKey;

constexpr DWORD kScopes[] = {0, CRYPT_MACHINE_KEYSET};

bool Acquire(const char* name, DWORD flags, ProviderContext* context) {
    return CryptAcquireContextA(context->Put(), name, pkisdk::kProviderName, pkisdk::kProviderType,
                                flags) != FALSE;
}

// What one of the provider's listings gives.
std::vector<std::string> List(DWORD scope, DWORD parameter) {
    ProviderContext context;
    std::vector<std::string> texts;
    DWORD room = 0;
    if (!Acquire(nullptr, CRYPT_VERIFYCONTEXT | scope, &context) ||
        !CryptGetProvParam(context.Get(), parameter, nullptr, &room, CRYPT_FIRST)) {
        return texts;
    }
    std::vector<char> text(room);
    DWORD size = room;
    for (DWORD which = CRYPT_FIRST; CryptGetProvParam(
             context.Get(), parameter, reinterpret_cast<BYTE*>(text.data()), &size, which);
         which = CRYPT_NEXT, size = room) {
        texts.emplace_back(text.data());
    }
    return texts;
}

// The hash that goes with a key's algorithm.
ALG_ID HashFor(HCRYPTKEY key) {
    ALG_ID algorithm = 0;
    DWORD size = sizeof(algorithm);
    CryptGetKeyParam(key, KP_ALGID, reinterpret_cast<BYTE*>(&algorithm), &size, 0);
    switch (algorithm) {
        case 0x2E23:
        case 0xAA24:
            return pkisdk::kGostR3411_94;
        case 0x2E3D:
            return pkisdk::kGostR3411_512;
        default:
            return pkisdk::kGostR3411_256;
    }
}

bool Signs(HCRYPTPROV context, HCRYPTKEY key) {
    ProviderHash hash;
    std::array<BYTE, 256> signature{};
    DWORD size = signature.size();
    return CryptCreateHash(context, HashFor(key), 0, 0, hash.Put()) &&
           CryptSignHashA(hash.Get(), AT_KEYEXCHANGE, nullptr, 0, signature.data(), &size) &&
           CryptVerifySignatureA(hash.Get(), signature.data(), size, key, nullptr, 0);
}

// The count that a container goes to.
std::size_t ContainerCount::*Look(const std::string& name, DWORD scope) {
    ProviderContext context;
    if (!Acquire(name.c_str(), CRYPT_SILENT | scope, &context)) {
        return &ContainerCount::broken;
    }
    ProviderKey key;
    if (!CryptGetUserKey(context.Get(), AT_KEYEXCHANGE, key.Put())) {
        return GetLastError() == static_cast<DWORD>(NTE_NO_KEY) ? &ContainerCount::empty
                                                                : &ContainerCount::broken;
    }
    return Signs(context.Get(), key.Get()) ? &ContainerCount::withKey : &ContainerCount::broken;
}

}  // namespace

ContainerCount CountContainers() {
    ContainerCount count;
    for (const DWORD scope : kScopes) {
        count.broken += List(scope, PP_ENUM_DAMAGED_CONTAINERS).size();
        for (const std::string& name : List(scope, PP_ENUMCONTAINERS)) {
            ++(count.*Look(name, scope));
        }
    }
    return count;
}

bool DeleteContainers() {
    return std::ranges::all_of(kScopes, [](DWORD scope) { return DeleteContainers(scope); });
}

bool DeleteContainers(DWORD scope) {
    for (const std::string& name : List(scope, PP_ENUMCONTAINERS)) {
        HCRYPTPROV none = 0;
        CryptAcquireContextA(&none, name.c_str(), pkisdk::kProviderName, pkisdk::kProviderType,
                             CRYPT_DELETEKEYSET | scope);
    }
    return List(scope, PP_ENUMCONTAINERS).empty();
}

}  // namespace test_support
