#include "capi/open_keys.h"

#include <utility>

namespace capi {

namespace {

constexpr ULONG_PTR kHandleStep = 4;

}  // namespace

HKEY OpenKeys::Add(OpenKey key) {
    const std::lock_guard lock(mutex_);
    const ULONG_PTR handle = next_;
    keys_.emplace(handle, std::make_shared<const OpenKey>(std::move(key)));
    next_ += kHandleStep;
    return reinterpret_cast<HKEY>(handle);
}

bool OpenKeys::Remove(HKEY handle) {
    const std::lock_guard lock(mutex_);
    return keys_.erase(reinterpret_cast<ULONG_PTR>(handle)) != 0;
}

std::shared_ptr<const OpenKey> OpenKeys::Find(HKEY handle) {
    const std::lock_guard lock(mutex_);
    const auto found = keys_.find(reinterpret_cast<ULONG_PTR>(handle));
    return found == keys_.end() ? nullptr : found->second;
}

bool OpenKeys::Refresh(HKEY handle, std::shared_ptr<const Settings> settings) {
    const std::lock_guard lock(mutex_);
    const auto found = keys_.find(reinterpret_cast<ULONG_PTR>(handle));
    if (found == keys_.end()) {
        return false;
    }
    const OpenKey& before = *found->second;
    found->second =
        std::make_shared<const OpenKey>(OpenKey{std::move(settings), before.path, before.rights});
    return true;
}

// Outlives every caller, those in other libraries' destructors too.
OpenKeys& AllOpenKeys() {
    static OpenKeys& keys = *std::make_unique<OpenKeys>().release();
    return keys;
}

bool IsRoot(HKEY key) {
    return key == HKEY_LOCAL_MACHINE || key == HKEY_CURRENT_USER;
}

std::shared_ptr<const OpenKey> FindKey(HKEY handle) {
    if (IsRoot(handle)) {
        const char* const path = handle == HKEY_CURRENT_USER ? kUserRoot : kMachineRoot;
        return std::make_shared<const OpenKey>(OpenKey{CurrentSettings(), path, KEY_READ});
    }
    return AllOpenKeys().Find(handle);
}

}  // namespace capi
