// The objects behind handles of events and files.
#pragma once

#include <memory>

#include "capi/calls.h"
#include "capi/handles.h"

namespace capi {

class KernelObject {
  public:
    KernelObject() = default;
    virtual ~KernelObject() = default;
    KernelObject(const KernelObject&) = delete;
    KernelObject& operator=(const KernelObject&) = delete;
};

HANDLE AddObject(std::shared_ptr<KernelObject> object);

// Null for a handle that is not open.
std::shared_ptr<KernelObject> FindObject(HANDLE handle);

// Null for a handle of anything else, too.
template <typename Object>
std::shared_ptr<Object> Find(HANDLE handle) {
    return std::dynamic_pointer_cast<Object>(FindObject(handle));
}

template <typename Object>
std::shared_ptr<Object> RequireObject(HANDLE handle) {
    std::shared_ptr<Object> object = Find<Object>(handle);
    Require(object != nullptr, ERROR_INVALID_HANDLE);
    return object;
}

}  // namespace capi
