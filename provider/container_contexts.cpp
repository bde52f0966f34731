#include "provider/container_contexts.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "platform/csp_parameters.h"
#include "provider/container_store.h"
#include "provider/parameter.h"

namespace provider {

namespace {

struct States {
    std::mutex mutex;
    std::unordered_map<HCRYPTPROV, std::shared_ptr<ContextState>> byHandle;
};

// Outlives every caller, those in other libraries' destructors too.
States& TheStates() {
    static States& states = *std::make_unique<States>().release();
    return states;
}

}  // namespace

HRESULT ContextState::EnumerateContainers(DWORD flags, BYTE* out, DWORD* outSize) {
    return Enumerate(&containers_, flags, out, outSize);
}

HRESULT ContextState::EnumerateDamaged(DWORD flags, BYTE* out, DWORD* outSize) {
    return Enumerate(&damaged_, flags, out, outSize);
}

HRESULT ContextState::Enumerate(Enumeration* enumeration, DWORD flags, BYTE* out, DWORD* outSize) {
    constexpr DWORD kBothDirections = CRYPT_FIRST | CRYPT_NEXT;
    if ((flags & ~(kBothDirections | CRYPT_MACHINE_KEYSET)) != 0 ||
        (flags & kBothDirections) == kBothDirections) {
        return NTE_BAD_FLAGS;
    }
    if (outSize == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const std::lock_guard lock(mutex_);
    if ((flags & CRYPT_FIRST) != 0 || !enumeration->isStarted) {
        if (const HRESULT status = Start(enumeration, flags); status != S_OK) {
            return status;
        }
    }
    if (enumeration->next == enumeration->texts.size()) {
        return ERROR_NO_MORE_ITEMS;
    }
    const std::string& text = enumeration->texts[enumeration->next];
    if (out == nullptr || *outSize < text.size() + 1) {
        const auto longest = std::ranges::max_element(enumeration->texts, {}, &std::string::size);
        *outSize = static_cast<DWORD>(longest->size() + 1);
        return out == nullptr ? S_OK : ERROR_MORE_DATA;
    }
    ++enumeration->next;
    return WriteParameter(text.c_str(), out, outSize);
}

HRESULT ContextState::Start(Enumeration* enumeration, DWORD flags) const {
    const bool isMachine = (flags & CRYPT_MACHINE_KEYSET) != 0;
    ContainerListing listing;
    const HRESULT status = ListContainers(isMachine ? ContainerScope::kMachine : scope_, &listing);
    if (status == S_OK) {
        const bool isOfDamaged = enumeration == &damaged_;
        *enumeration = {true, std::move(isOfDamaged ? listing.damagedFiles : listing.names), 0};
    }
    return status;
}

void KeepContextState(HCRYPTPROV context, std::shared_ptr<ContextState> state) {
    const std::lock_guard lock(TheStates().mutex);
    TheStates().byHandle.emplace(context, std::move(state));
}

void DropContextState(HCRYPTPROV context) {
    std::shared_ptr<ContextState> dropped;
    const std::lock_guard lock(TheStates().mutex);
    const auto found = TheStates().byHandle.find(context);
    if (found != TheStates().byHandle.end()) {
        dropped = std::move(found->second);
        TheStates().byHandle.erase(found);
    }
}

std::shared_ptr<ContextState> FindContextState(HCRYPTPROV context) {
    const std::lock_guard lock(TheStates().mutex);
    const auto found = TheStates().byHandle.find(context);
    return found == TheStates().byHandle.end() ? nullptr : found->second;
}

std::shared_ptr<Container> ContainerOf(HCRYPTPROV context) {
    const std::shared_ptr<ContextState> state = FindContextState(context);
    return state == nullptr ? nullptr : state->GetContainer();
}

}  // namespace provider
