#include "capi/contexts.h"

#include <cstring>
#include <new>
#include <optional>
#include <string>

#include "capi/ansi_text.h"
#include "capi/builtin_settings.h"
#include "capi/registry.h"
#include "capi/settings.h"

namespace capi {

namespace {

constexpr DWORD kHighestProviderType = 999;
constexpr DWORD kVtableVersion = 3;

struct ProviderEntry {
    std::string name;
    std::string imagePath;
};

std::optional<DWORD> TypeOf(const Settings& settings, const std::string& key) {
    const SettingsValue* const type = settings.FindValue(key, "Type");
    if (type == nullptr || type->type != REG_DWORD) {
        return std::nullopt;
    }
    return static_cast<DWORD>(type->number);
}

std::string KeyOf(const std::string& providerName) {
    return std::string(kProvidersKey) + '\\' + providerName;
}

// The first provider of that type by name, or nothing.
std::optional<std::string> NameOfType(const Settings& settings, DWORD type) {
    for (std::string& name : settings.SubKeyNames(kProvidersKey)) {
        if (TypeOf(settings, KeyOf(name)) == type) {
            return std::move(name);
        }
    }
    return std::nullopt;
}

HRESULT FindProvider(LPCSTR wantedName, DWORD type, ProviderEntry* entry) {
    if (type == 0 || type > kHighestProviderType) {
        return NTE_BAD_PROV_TYPE;
    }
    const std::shared_ptr<const Settings> settings = CurrentSettings();
    if (wantedName != nullptr && *wantedName != '\0') {
        entry->name = Utf8FromAnsi(wantedName);
    } else if (auto name = NameOfType(*settings, type)) {
        entry->name = *std::move(name);
    } else {
        return NTE_PROV_TYPE_NOT_DEF;
    }
    const std::string key = KeyOf(entry->name);
    if (settings->FindKey(key) == nullptr) {
        return NTE_KEYSET_NOT_DEF;
    }
    const std::optional<DWORD> typeFound = TypeOf(*settings, key);
    const SettingsValue* const path = settings->FindValue(key, "Image Path");
    if (!typeFound.has_value() || path == nullptr || path->type != REG_SZ) {
        return NTE_PROV_TYPE_ENTRY_BAD;
    }
    if (*typeFound != type) {
        return NTE_PROV_TYPE_NO_MATCH;
    }
    entry->imagePath = path->texts.front();
    return S_OK;
}

// There are no signatures of libraries here, so that none is good.
BOOL WINAPI VerifyImage(LPCSTR /*image*/, const BYTE* /*signature*/) {
    return Fail(NTE_BAD_SIGNATURE);
}

void WINAPI ReturnNoWindow(HWND* window) {
    *window = nullptr;
}

BOOL AcquireFrom(const Csp& csp, ProviderEntry entry, LPCSTR container, DWORD type, DWORD flags,
                 HCRYPTPROV* result) {
    VTableProvStruc caller{};
    caller.Version = kVtableVersion;
    caller.FuncVerifyImage = &VerifyImage;
    caller.FuncReturnhWnd = &ReturnNoWindow;
    caller.dwProvType = type;
    caller.pszProvName = entry.name.data();

    ContextTable::Reservation reservation = ContextTable::Reserve();
    if (!reservation) {
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
    HCRYPTPROV handle = 0;
    if (!csp.acquireContext(&handle, container, flags, &caller)) {
        return FALSE;
    }
    if ((flags & CRYPT_DELETEKEYSET) != 0) {
        return TRUE;
    }
    reservation->csp.store(&csp, std::memory_order_release);
    reservation->handle.store(handle, std::memory_order_release);
    reservation->references = 1;
    *result = reservation.Publish(0);
    return TRUE;
}

// The provider frees what its context owned; this forgets capi's handles of it.
void ForgetObjectsOfReleasedContexts() {
    const auto isGone = [](handles::Handle owner) { return !ContextTable::IsValid(owner); };
    const auto nothing = [](ContextObject&) {};
    KeyTable::RetireAll(isGone, nothing);
    HashTable::RetireAll(isGone, nothing);
}

}  // namespace

void* AllocateSlots(std::size_t size) noexcept {
    constexpr std::align_val_t kCacheLine{64};
    void* const memory = ::operator new(size, kCacheLine, std::nothrow);
    return memory == nullptr ? nullptr : std::memset(memory, 0, size);
}

}  // namespace capi

using capi::ContextTable;
using capi::ContextView;
using capi::Fail;

BOOL WINAPI CryptAcquireContextA(HCRYPTPROV* phProv, LPCSTR szContainer, LPCSTR szProvider,
                                 DWORD dwProvType, DWORD dwFlags) {
    if (phProv == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    *phProv = 0;
    try {
        capi::ProviderEntry entry;
        HRESULT error = capi::FindProvider(szProvider, dwProvType, &entry);
        if (error != S_OK) {
            return Fail(error);
        }
        const capi::Csp* const csp = capi::LoadCsp(entry.imagePath, &error);
        if (csp == nullptr) {
            return Fail(error);
        }
        return capi::AcquireFrom(*csp, std::move(entry), szContainer, dwProvType, dwFlags, phProv);
    } catch (const std::bad_alloc&) {
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

BOOL WINAPI CryptContextAddRef(HCRYPTPROV hProv, DWORD* pdwReserved, DWORD dwFlags) {
    ContextTable::Lease lease = ContextTable::Lock(hProv);
    if (!lease) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (pdwReserved != nullptr || dwFlags != 0) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    ++lease->references;
    return TRUE;
}

BOOL WINAPI CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
    ContextTable::Lease lease = ContextTable::Lock(hProv);
    if (!lease) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    BOOL isReleased = TRUE;
    if (--lease->references == 0) {
        const capi::Csp& csp = *lease->csp.load(std::memory_order_relaxed);
        const HCRYPTPROV handle = lease->handle.load(std::memory_order_relaxed);
        lease.Retire();
        isReleased = csp.releaseContext(handle, 0);
        capi::ForgetObjectsOfReleasedContexts();
    }
    return dwFlags == 0 ? isReleased : Fail(NTE_BAD_FLAGS);
}

BOOL WINAPI CryptGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen,
                              DWORD dwFlags) {
    const ContextView context = capi::ViewContext(hProv);
    return context.csp != nullptr &&
           context.csp->getProvParam(context.handle, dwParam, pbData, pdwDataLen, dwFlags);
}

BOOL WINAPI CryptSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
    const ContextView context = capi::ViewContext(hProv);
    return context.csp != nullptr &&
           context.csp->setProvParam(context.handle, dwParam, pbData, dwFlags);
}

BOOL WINAPI CryptGenRandom(HCRYPTPROV hProv, DWORD dwLen, BYTE* pbBuffer) {
    const ContextView context = capi::ViewContext(hProv);
    return context.csp != nullptr && context.csp->genRandom(context.handle, dwLen, pbBuffer);
}
