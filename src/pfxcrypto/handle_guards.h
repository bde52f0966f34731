// Owners of the platform's handles: each releases what it holds on every path.
#pragma once

#include <utility>

#include "platform/cryptoapi.h"

namespace pkisdk {

// `Traits` gives the handle's type `Handle` and `Release(Handle)`. Releasing may change the
// thread's last error, so a caller takes that word before the guard's scope ends.
template <typename Traits>
class HandleGuard {
  public:
    using Handle = typename Traits::Handle;

    HandleGuard() = default;
    explicit HandleGuard(Handle handle) : handle_(handle) {}
    HandleGuard(HandleGuard&& other) noexcept : handle_(other.release()) {}
    HandleGuard& operator=(HandleGuard&& other) noexcept {
        if (this != &other) {
            Reset();
            handle_ = other.release();
        }
        return *this;
    }
    HandleGuard(const HandleGuard&) = delete;
    HandleGuard& operator=(const HandleGuard&) = delete;
    ~HandleGuard() { Reset(); }

    Handle Get() const { return handle_; }
    explicit operator bool() const { return handle_ != Handle{}; }

    // Where an acquiring call puts a handle; what was held is released first.
    Handle* Put() {
        Reset();
        return &handle_;
    }
    // Gives the handle up: it is the caller's from here on.
    Handle release() { return std::exchange(handle_, Handle{}); }
    void Reset() {
        if (handle_ != Handle{}) {
            Traits::Release(release());
        }
    }

  private:
    Handle handle_{};
};

struct ProviderContextTraits {
    using Handle = HCRYPTPROV;
    static void Release(Handle handle) { CryptReleaseContext(handle, 0); }
};

struct ProviderKeyTraits {
    using Handle = HCRYPTKEY;
    static void Release(Handle handle) { CryptDestroyKey(handle); }
};

struct ProviderHashTraits {
    using Handle = HCRYPTHASH;
    static void Release(Handle handle) { CryptDestroyHash(handle); }
};

struct RegistryKeyTraits {
    using Handle = HKEY;
    static void Release(Handle handle) { RegCloseKey(handle); }
};

struct CertStoreTraits {
    using Handle = HCERTSTORE;
    static void Release(Handle handle) { CertCloseStore(handle, 0); }
};

struct CertContextTraits {
    using Handle = PCCERT_CONTEXT;
    static void Release(Handle handle) { CertFreeCertificateContext(handle); }
};

using ProviderContext = HandleGuard<ProviderContextTraits>;
using ProviderKey = HandleGuard<ProviderKeyTraits>;
using ProviderHash = HandleGuard<ProviderHashTraits>;
using RegistryKey = HandleGuard<RegistryKeyTraits>;
using CertStore = HandleGuard<CertStoreTraits>;
using CertContext = HandleGuard<CertContextTraits>;

}  // namespace pkisdk
