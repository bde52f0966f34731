#include "capi/kernel_objects.h"

#include <map>
#include <mutex>
#include <utility>

namespace capi {

namespace {

class OpenObjects {
  public:
    HANDLE Add(std::shared_ptr<KernelObject> object) {
        const std::lock_guard lock(mutex_);
        // Never the same twice, so that a closed handle stays a wrong one.
        next_ += 4;
        auto* const handle = reinterpret_cast<HANDLE>(next_);
        objects_.emplace(handle, std::move(object));
        return handle;
    }
    std::shared_ptr<KernelObject> Find(HANDLE handle) {
        const std::lock_guard lock(mutex_);
        const auto found = objects_.find(handle);
        return found == objects_.end() ? nullptr : found->second;
    }
    // The object lives on while a call uses it.
    std::shared_ptr<KernelObject> Remove(HANDLE handle) {
        const std::lock_guard lock(mutex_);
        const auto found = objects_.find(handle);
        if (found == objects_.end()) {
            return nullptr;
        }
        std::shared_ptr<KernelObject> object = std::move(found->second);
        objects_.erase(found);
        return object;
    }

  private:
    std::mutex mutex_;
    std::map<HANDLE, std::shared_ptr<KernelObject>> objects_;
    ULONG_PTR next_ = 0x100;
};

// Outlives every caller, those in other libraries' destructors too.
OpenObjects& AllObjects() {
    static OpenObjects& objects = *std::make_unique<OpenObjects>().release();
    return objects;
}

}  // namespace

HANDLE AddObject(std::shared_ptr<KernelObject> object) {
    return AllObjects().Add(std::move(object));
}

std::shared_ptr<KernelObject> FindObject(HANDLE handle) {
    return AllObjects().Find(handle);
}

}  // namespace capi

BOOL WINAPI CloseHandle(HANDLE hObject) {
    return capi::Answer<BOOL>(FALSE, [&] {
        capi::Require(capi::AllObjects().Remove(hObject) != nullptr, ERROR_INVALID_HANDLE);
        return TRUE;
    });
}
