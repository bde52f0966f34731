#include "support/containers_in_csp.h"

#include <array>
#include <cstdlib>
#include <vector>

#include "pfxcrypto/handle_guards.h"
#include "pfxcrypto/pfx_constants.h"
#include "platform/csp_parameters.h"

namespace fuzz_support {

namespace {

using pkisdk::ProviderContext;
using pkisdk::ProviderHash;
using pkisdk::ProviderKey;

constexpr DWORD kScopes[] = {0, CRYPT_MACHINE_KEYSET};

bool Acquire(const std::string* name, DWORD flags, ProviderContext* context) {
    return CryptAcquireContextA(context->Put(), name == nullptr ? nullptr : name->c_str(),
                                pkisdk::kProviderName, pkisdk::kProviderType, flags) != FALSE;
}

// What one of the two listings of containers gives.
std::vector<std::string> List(DWORD scope, DWORD parameter) {
    ProviderContext context;
    Require(Acquire(nullptr, CRYPT_VERIFYCONTEXT | scope, &context));
    std::vector<std::string> texts;
    DWORD room = 0;
    BOOL isThere = CryptGetProvParam(context.Get(), parameter, nullptr, &room, CRYPT_FIRST);
    std::vector<char> text(room);
    for (DWORD which = CRYPT_FIRST; isThere; which = CRYPT_NEXT) {
        DWORD size = room;
        isThere = CryptGetProvParam(context.Get(), parameter, reinterpret_cast<BYTE*>(text.data()),
                                    &size, which);
        if (isThere) {
            texts.emplace_back(text.data());
        }
    }
    Require(GetLastError() == ERROR_NO_MORE_ITEMS);
    return texts;
}

// The hash that goes with a key's algorithm.
ALG_ID HashFor(HCRYPTKEY key) {
    ALG_ID algorithm = 0;
    DWORD size = sizeof(algorithm);
    Require(CryptGetKeyParam(key, KP_ALGID, reinterpret_cast<BYTE*>(&algorithm), &size, 0));
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

void RequireSigns(HCRYPTPROV context, HCRYPTKEY key) {
    ProviderHash hash;
    Require(CryptCreateHash(context, HashFor(key), 0, 0, hash.Put()));
    std::array<BYTE, 256> signature{};
    DWORD size = signature.size();
    Require(CryptSignHashA(hash.Get(), AT_KEYEXCHANGE, nullptr, 0, signature.data(), &size));
    Require(CryptVerifySignatureA(hash.Get(), signature.data(), size, key, nullptr, 0));
}

bool HasKey(const std::string& name, DWORD scope) {
    ProviderContext context;
    Require(Acquire(&name, CRYPT_SILENT | scope, &context));
    ProviderKey key;
    if (!CryptGetUserKey(context.Get(), AT_KEYEXCHANGE, key.Put())) {
        Require(GetLastError() == static_cast<DWORD>(NTE_NO_KEY));
        return false;
    }
    RequireSigns(context.Get(), key.Get());
    return true;
}

}  // namespace

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

ContainerCount RequireWholeContainers() {
    ContainerCount count;
    for (const DWORD scope : kScopes) {
        Require(List(scope, PP_ENUM_DAMAGED_CONTAINERS).empty());
        for (const std::string& name : List(scope, PP_ENUMCONTAINERS)) {
            (HasKey(name, scope) ? count.withKey : count.empty) += 1;
        }
    }
    return count;
}

void DeleteContainers() {
    for (const DWORD scope : kScopes) {
        for (const std::string& name : List(scope, PP_ENUMCONTAINERS)) {
            HCRYPTPROV none = 0;
            Require(CryptAcquireContextA(&none, name.c_str(), pkisdk::kProviderName,
                                         pkisdk::kProviderType, CRYPT_DELETEKEYSET | scope));
        }
        Require(List(scope, PP_ENUMCONTAINERS).empty());
    }
}

}  // namespace fuzz_support
