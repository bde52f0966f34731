// Entry points: contexts, their parameters, random bytes.
#include "csp.h"
#include "provider/algorithms.h"
#include "provider/objects.h"
#include "provider/parameter.h"
#include "provider/random.h"

namespace provider {

namespace {

// There are no containers: none can be opened, deleted or made.
HRESULT Acquire(HCRYPTPROV* result, const char* container, DWORD flags) {
    constexpr DWORD kKnownFlags = CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET |
                                  CRYPT_MACHINE_KEYSET | CRYPT_SILENT;
    if (result == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const DWORD verifyBits = flags & CRYPT_VERIFYCONTEXT;
    if ((flags & ~kKnownFlags) != 0 || (verifyBits != 0 && verifyBits != CRYPT_VERIFYCONTEXT)) {
        return NTE_BAD_FLAGS;
    }
    if (verifyBits == 0) {
        return (flags & CRYPT_NEWKEYSET) != 0 ? NTE_NOT_SUPPORTED : NTE_BAD_KEYSET;
    }
    const bool namesContainer = container != nullptr && *container != '\0';
    if (namesContainer || (flags & (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET)) != 0) {
        return NTE_BAD_FLAGS;
    }
    ContextTable::Reservation context = ContextTable::Reserve();
    if (!context) {
        return NTE_NO_MEMORY;
    }
    context->flags = flags;
    *result = context.Publish(0);
    return S_OK;
}

HRESULT Release(HCRYPTPROV handle, DWORD flags) {
    {
        ContextTable::Lease context = ContextTable::Lock(handle);
        if (!context) {
            return NTE_BAD_UID;
        }
        context.Retire();
    }
    const auto isGone = [](handles::Handle owner) { return !ContextTable::IsValid(owner); };
    HashTable::RetireIf(isGone, [](Hash& hash) { hash.WipeSecrets(); });
    KeyTable::RetireIf(isGone, [](SessionKey& key) { key.WipeSecrets(); });
    return flags == 0 ? S_OK : NTE_BAD_FLAGS;
}

HRESULT GetParameter(HCRYPTPROV handle, DWORD parameter, BYTE* out, DWORD* outSize, DWORD flags) {
    if (!ContextTable::IsValid(handle)) {
        return NTE_BAD_UID;
    }
    if (flags != 0) {
        return NTE_BAD_FLAGS;
    }
    switch (parameter) {
        case PP_NAME:
            return WriteParameter(kName, out, outSize);
        case PP_PROVTYPE:
            return WriteParameter(kType, out, outSize);
        case PP_VERSION:
            return WriteParameter(kVersion, out, outSize);
        case PP_IMPTYPE:
            return WriteParameter(DWORD{CRYPT_IMPL_SOFTWARE}, out, outSize);
        default:
            return NTE_BAD_TYPE;
    }
}

// Everything that can be set belongs to a container.
HRESULT SetParameter(HCRYPTPROV handle) {
    return ContextTable::IsValid(handle) ? NTE_BAD_TYPE : NTE_BAD_UID;
}

HRESULT GenerateRandom(HCRYPTPROV handle, DWORD size, BYTE* out) {
    if (!ContextTable::IsValid(handle)) {
        return NTE_BAD_UID;
    }
    if (out == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    FillRandom({out, size});
    return S_OK;
}

}  // namespace

}  // namespace provider

using provider::Answer;

BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags,
                             PVTableProvStruc /*pVTable*/) {
    return Answer(provider::Acquire(phProv, szContainer, dwFlags));
}

BOOL WINAPI CPReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
    return Answer(provider::Release(hProv, dwFlags));
}

BOOL WINAPI CPGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen,
                           DWORD dwFlags) {
    return Answer(provider::GetParameter(hProv, dwParam, pbData, pcbDataLen, dwFlags));
}

BOOL WINAPI CPSetProvParam(HCRYPTPROV hProv, DWORD /*dwParam*/, const BYTE* /*pbData*/,
                           DWORD /*dwFlags*/) {
    return Answer(provider::SetParameter(hProv));
}

BOOL WINAPI CPGenRandom(HCRYPTPROV hProv, DWORD cbBuffer, BYTE* pbBuffer) {
    return Answer(provider::GenerateRandom(hProv, cbBuffer, pbBuffer));
}
