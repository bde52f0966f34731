// What a context knows besides its handle: its container, and how far it has enumerated.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "provider/container.h"
#include "provider/gost_algorithms.h"

namespace provider {

// Safe for several threads.
class ContextState {
  public:
    // `container` is null for a verification context.
    ContextState(ContainerScope scope, std::shared_ptr<Container> container);

    ContainerScope Scope() const { return scope_; }
    const std::shared_ptr<Container>& GetContainer() const { return container_; }

    // Of the keys that are generated from here on; null for the one that their algorithm has.
    const GostCurve* Curve() const { return curve_.load(std::memory_order_relaxed); }
    void SetCurve(const GostCurve* curve) { curve_.store(curve, std::memory_order_relaxed); }

    // PP_ENUMCONTAINERS and PP_ENUM_DAMAGED_CONTAINERS. `flags` is any of CRYPT_FIRST, which lists
    // anew, CRYPT_NEXT, and CRYPT_MACHINE_KEYSET, which counts with CRYPT_FIRST. Without a buffer,
    // or with one that is too small, the size is that of the longest, and the next is not passed.
    // ERROR_NO_MORE_ITEMS at the end; NTE_BAD_FLAGS.
    HRESULT EnumerateContainers(DWORD flags, BYTE* out, DWORD* outSize);
    HRESULT EnumerateDamaged(DWORD flags, BYTE* out, DWORD* outSize);

  private:
    struct Enumeration {
        bool isStarted = false;
        std::vector<std::string> texts;
        std::size_t next = 0;
    };

    HRESULT Enumerate(Enumeration* enumeration, DWORD flags, BYTE* out, DWORD* outSize);
    HRESULT Start(Enumeration* enumeration, DWORD flags) const;

    const ContainerScope scope_;
    const std::shared_ptr<Container> container_;
    std::atomic<const GostCurve*> curve_{nullptr};
    std::mutex mutex_;
    // Under the mutex.
    Enumeration containers_;
    Enumeration damaged_;
};

// The states by handle. Null where none was kept, or it was dropped.
void KeepContextState(HCRYPTPROV context, std::shared_ptr<ContextState> state);
void DropContextState(HCRYPTPROV context);
std::shared_ptr<ContextState> FindContextState(HCRYPTPROV context);

}  // namespace provider
