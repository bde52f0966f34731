// The objects behind capi's handles: which provider, and which handle of its own.
#pragma once

#include <atomic>
#include <memory>

#include "capi/csp_library.h"
#include "capi/provider.h"
#include "handles/handle_table.h"

namespace capi {

struct Context {
    std::atomic<const Csp*> csp;
    // As the provider knows it.
    std::atomic<HCRYPTPROV> handle;
    // Changed under the context's lease alone.
    DWORD references;
};

// A key or a hash; its owner in the table is its context.
struct ContextObject {
    std::atomic<const Csp*> csp;
    // As the provider knows them.
    std::atomic<HCRYPTPROV> context;
    std::atomic<ULONG_PTR> handle;
};

// Zeros from the ordinary heap; there is nothing secret in capi's objects.
void* AllocateSlots(std::size_t size) noexcept;

using ContextTable = handles::HandleTable<Context, handles::Kind::kContext, &AllocateSlots>;
using KeyTable = handles::HandleTable<ContextObject, handles::Kind::kKey, &AllocateSlots>;
using HashTable = handles::HandleTable<ContextObject, handles::Kind::kHash, &AllocateSlots>;

// What a call on the provider needs, copied from the tables. `csp` is null for a bad handle, and
// then the last error is ERROR_INVALID_HANDLE.
struct ContextView {
    const Csp* csp;
    HCRYPTPROV handle;
};
struct ObjectView {
    const Csp* csp;
    HCRYPTPROV context;
    ULONG_PTR handle;
};

inline BOOL Fail(HRESULT error) {
    SetLastError(static_cast<DWORD>(error));
    return FALSE;
}

inline ContextView ViewContext(HCRYPTPROV handle) {
    ContextView view{};
    const bool isGood = ContextTable::Peek(handle, [&view](const Context& context) {
        view = {context.csp.load(std::memory_order_acquire),
                context.handle.load(std::memory_order_acquire)};
    });
    if (!isGood) {
        Fail(ERROR_INVALID_HANDLE);
        return {};
    }
    return view;
}

template <typename Table>
ObjectView ViewObject(ULONG_PTR handle) {
    ObjectView view{};
    const bool isGood = Table::Peek(handle, [&view](const ContextObject& object) {
        view = {object.csp.load(std::memory_order_acquire),
                object.context.load(std::memory_order_acquire),
                object.handle.load(std::memory_order_acquire)};
    });
    if (!isGood) {
        Fail(ERROR_INVALID_HANDLE);
        return {};
    }
    return view;
}

// Gives the provider's object a handle of capi's.
template <typename Reservation>
ULONG_PTR Publish(Reservation* reservation, HCRYPTPROV owner, const ContextView& context,
                  ULONG_PTR handle) {
    ContextObject& object = **reservation;
    object.csp.store(context.csp, std::memory_order_release);
    object.context.store(context.handle, std::memory_order_release);
    object.handle.store(handle, std::memory_order_release);
    return reservation->Publish(owner);
}

// The provider's own handle of an object that accompanies another of `csp`; 0 for none. Another
// provider's handle would mean nothing to this one, or the wrong thing: it gives `error`.
template <typename Table>
BOOL FindCompanion(ULONG_PTR handle, const Csp* csp, HRESULT error, ULONG_PTR* found) {
    *found = 0;
    if (handle == 0) {
        return TRUE;
    }
    const ObjectView object = ViewObject<Table>(handle);
    if (object.csp == nullptr) {
        return FALSE;
    }
    *found = object.handle;
    return object.csp == csp ? TRUE : Fail(error);
}

// Destroys the provider's object by `destroy`, then capi's handle of it; the handle stays good if
// the provider refuses.
template <typename Table, typename Destroy>
BOOL DestroyObject(ULONG_PTR handle, Destroy destroy) {
    typename Table::Lease lease = Table::TryLock(handle);
    if (!lease) {
        return Fail(lease.IsBusy() ? ERROR_BUSY : ERROR_INVALID_HANDLE);
    }
    const ContextObject& object = *lease;
    const Csp* const csp = object.csp.load(std::memory_order_relaxed);
    if (!destroy(*csp, object.context.load(std::memory_order_relaxed),
                 object.handle.load(std::memory_order_relaxed))) {
        return FALSE;
    }
    lease.Retire();
    return TRUE;
}

}  // namespace capi
