// The provider in the registry, as regsvr32 enters it and takes it out.
#include <windows.h>
// The next one needs windows.h before it.
#include <olectl.h>

#include <array>
#include <cwchar>
#include <string>

#include "platform/cryptoapi.h"
#include "platform/oid_rows.h"
#include "provider/algorithms.h"

namespace provider {

namespace {

constexpr wchar_t kProvidersKey[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr wchar_t kTypeKey[] =
    L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type 002";
constexpr wchar_t kTypeName[] = L"GOST R 34.10 Signature and Key Exchange";
constexpr wchar_t kWideName[] = L"Velmorix Cryptographic Service Provider";

// Systems that verify a provider's image look into this value; the others only want one.
constexpr std::array<BYTE, 4> kNoSignature{};

class Key {
  public:
    LSTATUS Make(const std::wstring& path) {
        return RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0,
                               KEY_READ | KEY_WRITE, nullptr, &key_, nullptr);
    }
    Key() = default;
    ~Key() {
        if (key_ != nullptr) {
            RegCloseKey(key_);
        }
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    LSTATUS Set(const wchar_t* name, DWORD type, const void* data, std::size_t size) const {
        return RegSetValueExW(key_, name, 0, type, static_cast<const BYTE*>(data),
                              static_cast<DWORD>(size));
    }
    LSTATUS Set(const wchar_t* name, const std::wstring& text) const {
        return Set(name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    }

  private:
    HKEY key_ = nullptr;
};

std::wstring ProviderKey() {
    return std::wstring(kProvidersKey) + kWideName;
}

// Whether the type is registered, and with another provider as its default.
bool IsTypeOfAnother() {
    std::array<wchar_t, 256> name{};
    DWORD size = sizeof(name) - sizeof(wchar_t);
    return RegGetValueW(HKEY_LOCAL_MACHINE, kTypeKey, L"Name", RRF_RT_REG_SZ, nullptr, name.data(),
                        &size) == ERROR_SUCCESS &&
           std::wcscmp(name.data(), kWideName) != 0;
}

// Empty where it can't be told.
std::wstring PathOfThisLibrary() {
    HMODULE library = nullptr;
    GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<LPCWSTR>(&PathOfThisLibrary), &library);
    constexpr std::size_t kLongestPath = 32'768;
    std::wstring path(kLongestPath, L'\0');
    const DWORD size = GetModuleFileNameW(library, path.data(), static_cast<DWORD>(path.size()));
    path.resize(size < path.size() ? size : 0);
    return path;
}

LSTATUS RegisterProvider() {
    const std::wstring path = PathOfThisLibrary();
    if (path.empty()) {
        return ERROR_BAD_PATHNAME;
    }
    Key key;
    LSTATUS status = key.Make(ProviderKey());
    if (status == ERROR_SUCCESS) {
        status = key.Set(L"Type", REG_DWORD, &kType, sizeof(kType));
    }
    if (status == ERROR_SUCCESS) {
        status = key.Set(L"Image Path", path);
    }
    if (status == ERROR_SUCCESS) {
        status = key.Set(L"Signature", REG_BINARY, kNoSignature.data(), kNoSignature.size());
    }
    return status;
}

LSTATUS RegisterType() {
    if (IsTypeOfAnother()) {
        return ERROR_SUCCESS;
    }
    Key key;
    LSTATUS status = key.Make(kTypeKey);
    if (status == ERROR_SUCCESS) {
        status = key.Set(L"Name", kWideName);
    }
    return status == ERROR_SUCCESS ? key.Set(L"TypeName", kTypeName) : status;
}

CRYPT_OID_INFO InfoOf(const platform::OidRow& row) {
    CRYPT_OID_INFO info{};
    info.cbSize = sizeof(info);
    info.pszOID = row.oid;
    info.pwszName = row.name;
    info.dwGroupId = row.group;
    info.Algid = row.algorithm;
    return info;
}

// Whether somebody else has given the identifier a meaning; it is theirs then.
bool IsRowOfAnother(const platform::OidRow& row) {
    const PCCRYPT_OID_INFO found =
        CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, const_cast<char*>(row.oid), row.group);
    return found != nullptr && std::wcscmp(found->pwszName, row.name) != 0;
}

LSTATUS RegisterRows() {
    for (const platform::OidRow& row : platform::kOidRows) {
        const CRYPT_OID_INFO info = InfoOf(row);
        if (!IsRowOfAnother(row) && !CryptRegisterOIDInfo(&info, 0)) {
            return static_cast<LSTATUS>(GetLastError());
        }
    }
    return ERROR_SUCCESS;
}

// What is not there is as good as taken out.
LSTATUS FirstOf(LSTATUS before, LSTATUS status) {
    return before != ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND ? before : status;
}

LSTATUS Unregister() {
    LSTATUS status =
        FirstOf(ERROR_SUCCESS, RegDeleteKeyW(HKEY_LOCAL_MACHINE, ProviderKey().c_str()));
    if (!IsTypeOfAnother()) {
        status = FirstOf(status, RegDeleteKeyW(HKEY_LOCAL_MACHINE, kTypeKey));
    }
    for (const platform::OidRow& row : platform::kOidRows) {
        const CRYPT_OID_INFO info = InfoOf(row);
        if (!IsRowOfAnother(row) && !CryptUnregisterOIDInfo(&info)) {
            status = FirstOf(status, static_cast<LSTATUS>(GetLastError()));
        }
    }
    return status;
}

}  // namespace

}  // namespace provider

STDAPI DllUnregisterServer() {
    return HRESULT_FROM_WIN32(static_cast<DWORD>(provider::Unregister()));
}

// What failed half way is taken out again.
STDAPI DllRegisterServer() {
    LSTATUS status = provider::RegisterProvider();
    if (status == ERROR_SUCCESS) {
        status = provider::RegisterType();
    }
    if (status == ERROR_SUCCESS) {
        status = provider::RegisterRows();
    }
    if (status != ERROR_SUCCESS) {
        provider::Unregister();
    }
    return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}
