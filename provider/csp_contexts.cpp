// Entry points: contexts, their parameters, random bytes.
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "csp.h"
#include "platform/csp_parameters.h"
#include "provider/algorithms.h"
#include "provider/container_contexts.h"
#include "provider/container_store.h"
#include "provider/objects.h"
#include "provider/parameter.h"
#include "provider/random.h"

namespace provider {

namespace {

constexpr DWORD kKnownFlags = CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET |
                              CRYPT_MACHINE_KEYSET | CRYPT_SILENT;

bool AreGoodFlags(const char* container, DWORD flags) {
    const DWORD verifyBits = flags & CRYPT_VERIFYCONTEXT;
    const DWORD keySetBits = flags & (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET);
    if ((flags & ~kKnownFlags) != 0 || (verifyBits != 0 && verifyBits != CRYPT_VERIFYCONTEXT)) {
        return false;
    }
    const bool namesContainer = container != nullptr && *container != '\0';
    return verifyBits != 0 ? !namesContainer && keySetBits == 0
                           : keySetBits != (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET);
}

// A handle that nobody has yet.
HRESULT Publish(const std::shared_ptr<ContextState>& state, DWORD flags, HCRYPTPROV* handle) {
    ContextTable::Reservation context = ContextTable::Reserve();
    if (!context) {
        return NTE_NO_MEMORY;
    }
    context->flags = flags;
    *handle = context.Publish(0);
    try {
        KeepContextState(*handle, state);
    } catch (const std::bad_alloc&) {
        ContextTable::Lock(*handle).Retire();
        return NTE_NO_MEMORY;
    }
    return S_OK;
}

void Withdraw(HCRYPTPROV handle) {
    ContextTable::Lock(handle).Retire();
    DropContextState(handle);
}

HRESULT FindOrCreate(ContainerScope scope, const char* name, DWORD flags,
                     std::shared_ptr<Container>* container) {
    const bool isSilent = (flags & CRYPT_SILENT) != 0;
    if ((flags & CRYPT_VERIFYCONTEXT) != 0) {
        return S_OK;
    }
    return (flags & CRYPT_NEWKEYSET) != 0 ? CreateContainer(scope, name, isSilent, container)
                                          : OpenContainer(scope, name, isSilent, container);
}

HRESULT Acquire(HCRYPTPROV* result, const char* name, DWORD flags) {
    if (result == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    if (!AreGoodFlags(name, flags)) {
        return NTE_BAD_FLAGS;
    }
    const bool isMachine = (flags & CRYPT_MACHINE_KEYSET) != 0;
    const ContainerScope scope = isMachine ? ContainerScope::kMachine : ContainerScope::kUser;
    if ((flags & CRYPT_DELETEKEYSET) != 0) {
        return DeleteContainer(scope, name);
    }
    // The context stands before the container is made, so that what can fail leaves none behind.
    const auto state = std::make_shared<ContextState>(scope);
    HCRYPTPROV handle = 0;
    HRESULT status = Publish(state, flags, &handle);
    if (status != S_OK) {
        return status;
    }
    try {
        std::shared_ptr<Container> container;
        status = FindOrCreate(scope, name, flags, &container);
        state->SetContainer(std::move(container));
    } catch (const std::bad_alloc&) {
        status = NTE_NO_MEMORY;
    }
    if (status != S_OK) {
        Withdraw(handle);
        return status;
    }
    *result = handle;
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
    DropContextState(handle);
    const auto isGone = [](handles::Handle owner) { return !ContextTable::IsValid(owner); };
    HashTable::RetireAll(isGone, [](Hash& hash) { hash.WipeSecrets(); });
    KeyTable::RetireAll(isGone, [](Key& key) { key.Release(); });
    return flags == 0 ? S_OK : NTE_BAD_FLAGS;
}

HRESULT GetContainerParameter(const ContextState& state, DWORD parameter, BYTE* out,
                              DWORD* outSize) {
    const Container* const container = state.GetContainer().get();
    if (parameter == PP_CONTAINER_FILE) {
        std::string path;
        const HRESULT status = ContainerFilePath(state.Scope(), container, &path);
        return status == S_OK ? WriteParameter(path.c_str(), out, outSize) : status;
    }
    if (container == nullptr) {
        return NTE_BAD_TYPE;
    }
    const std::string& name =
        parameter == PP_UNIQUE_CONTAINER ? container->UniqueName() : container->Name();
    return WriteParameter(name.c_str(), out, outSize);
}

HRESULT GetCurve(const ContextState& state, BYTE* out, DWORD* outSize) {
    if (state.GetContainer() == nullptr) {
        return NTE_BAD_TYPE;
    }
    const GostCurve* const curve = state.Curve();
    return WriteParameter(curve == nullptr ? "" : curve->oid.Text(), out, outSize);
}

HRESULT SetCurve(ContextState* state, const char* oid) {
    const GostCurve* curve = nullptr;
    if (*oid != '\0') {
        curve = FindCurveByText(oid);
        if (curve == nullptr) {
            return NTE_BAD_DATA;
        }
    }
    state->SetCurve(curve);
    return S_OK;
}

HRESULT GetParameter(HCRYPTPROV handle, DWORD parameter, BYTE* out, DWORD* outSize, DWORD flags) {
    const std::shared_ptr<ContextState> state = FindContextState(handle);
    if (state == nullptr) {
        return NTE_BAD_UID;
    }
    if (parameter == PP_ENUMCONTAINERS) {
        return state->EnumerateContainers(flags, out, outSize);
    }
    if (parameter == PP_ENUM_DAMAGED_CONTAINERS) {
        return state->EnumerateDamaged(flags, out, outSize);
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
        case PP_KEYSET_TYPE: {
            const bool isMachine = state->Scope() == ContainerScope::kMachine;
            return WriteParameter(isMachine ? DWORD{CRYPT_MACHINE_KEYSET} : 0, out, outSize);
        }
        case PP_SIGNATURE_CURVE:
            return GetCurve(*state, out, outSize);
        case PP_CONTAINER:
        case PP_CONTAINER_NAME:
        case PP_UNIQUE_CONTAINER:
        case PP_CONTAINER_FILE:
            return GetContainerParameter(*state, parameter, out, outSize);
        default:
            return NTE_BAD_TYPE;
    }
}

// Everything that can be set belongs to a container.
HRESULT SetParameter(HCRYPTPROV handle, DWORD parameter, const BYTE* data, DWORD flags) {
    const std::shared_ptr<ContextState> state = FindContextState(handle);
    if (state == nullptr) {
        return NTE_BAD_UID;
    }
    const bool isPin = parameter == PP_SIGNATURE_PIN || parameter == PP_KEYEXCHANGE_PIN;
    if ((!isPin && parameter != PP_SIGNATURE_CURVE) || state->GetContainer() == nullptr) {
        return NTE_BAD_TYPE;
    }
    if (flags != 0) {
        return NTE_BAD_FLAGS;
    }
    if (data == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const auto* const text = reinterpret_cast<const char*>(data);
    if (parameter == PP_SIGNATURE_CURVE) {
        return SetCurve(state.get(), text);
    }
    return state->GetContainer()->PresentPin({data, strnlen(text, kLongestPin + 1)});
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
using provider::AnswerTo;

BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags,
                             PVTableProvStruc /*pVTable*/) {
    return AnswerTo([&] { return provider::Acquire(phProv, szContainer, dwFlags); });
}

BOOL WINAPI CPReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
    return Answer(provider::Release(hProv, dwFlags));
}

BOOL WINAPI CPGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen,
                           DWORD dwFlags) {
    return AnswerTo(
        [&] { return provider::GetParameter(hProv, dwParam, pbData, pcbDataLen, dwFlags); });
}

BOOL WINAPI CPSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
    return AnswerTo([&] { return provider::SetParameter(hProv, dwParam, pbData, dwFlags); });
}

BOOL WINAPI CPGenRandom(HCRYPTPROV hProv, DWORD cbBuffer, BYTE* pbBuffer) {
    return Answer(provider::GenerateRandom(hProv, cbBuffer, pbBuffer));
}
