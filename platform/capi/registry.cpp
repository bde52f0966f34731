#include "capi/registry.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "capi/ansi_text.h"
#include "capi/calls.h"
#include "capi/event_object.h"
#include "capi/last_error.h"
#include "capi/open_keys.h"
#include "capi/settings.h"
#include "capi/settings_watch.h"
#include "capi/utf8.h"

namespace {

using capi::AllOpenKeys;
using capi::IsRoot;
using capi::OpenKey;
using capi::Settings;
using capi::SettingsValue;

constexpr REGSAM kWriteRights = KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_CREATE_LINK;

// An exception must not leave a C function.
template <typename Body>
LSTATUS Guarded(Body body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (const capi::ErrorWord& error) {
        return static_cast<LSTATUS>(error.Word());
    }
}

void AppendTerminated(const std::string& text, std::vector<BYTE>* data) {
    data->insert(data->end(), text.begin(), text.end());
    data->push_back(0);
}

enum class Width { kAnsi, kWide };

void AppendWide(const std::string& text, std::vector<BYTE>* data) {
    const std::wstring wide = capi::WideFromUtf8(text);
    const auto* const bytes = reinterpret_cast<const BYTE*>(wide.c_str());
    data->insert(data->end(), bytes, bytes + (wide.size() + 1) * sizeof(wchar_t));
}

// The value as the caller gets it.
std::vector<BYTE> DataOf(const SettingsValue& value, Width width) {
    std::vector<BYTE> data;
    for (const std::string& text : value.texts) {
        if (width == Width::kWide) {
            AppendWide(text, &data);
        } else {
            AppendTerminated(capi::AnsiFromUtf8(text), &data);
        }
    }
    if (value.type == REG_MULTI_SZ) {
        data.resize(data.size() + (width == Width::kWide ? sizeof(wchar_t) : sizeof(char)));
    } else if (value.type == REG_DWORD || value.type == REG_QWORD) {
        data.resize(value.type == REG_DWORD ? sizeof(DWORD) : sizeof(ULONGLONG));
        std::memcpy(data.data(), &value.number, data.size());
    }
    return data;
}

LSTATUS WriteData(const SettingsValue& value, Width width, LPDWORD type, LPBYTE out,
                  LPDWORD outSize) {
    if (type != nullptr) {
        *type = value.type;
    }
    if (outSize == nullptr) {
        return ERROR_SUCCESS;
    }
    const std::vector<BYTE> data = DataOf(value, width);
    const auto size = static_cast<DWORD>(data.size());
    const DWORD room = std::exchange(*outSize, size);
    if (out == nullptr) {
        return ERROR_SUCCESS;
    }
    if (room < size) {
        return ERROR_MORE_DATA;
    }
    std::copy(data.begin(), data.end(), out);
    return ERROR_SUCCESS;
}

// What both readings of values check first; `*key` is set on success alone.
LSTATUS CheckValueArguments(HKEY handle, const void* reserved, const BYTE* data, const DWORD* size,
                            std::shared_ptr<const OpenKey>* key) {
    *key = capi::FindKey(handle);
    if (*key == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    if (reserved != nullptr || (data != nullptr && size == nullptr)) {
        return ERROR_INVALID_PARAMETER;
    }
    return ((*key)->rights & KEY_QUERY_VALUE) != 0 ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

LSTATUS QueryValue(HKEY handle, const std::string& name, Width width, const DWORD* reserved,
                   LPDWORD type, LPBYTE data, LPDWORD size) {
    std::shared_ptr<const OpenKey> key;
    const LSTATUS status = CheckValueArguments(handle, reserved, data, size, &key);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    const SettingsValue* const value = key->settings->FindValue(key->path, name);
    return value == nullptr ? ERROR_FILE_NOT_FOUND : WriteData(*value, width, type, data, size);
}

DWORD Length(const std::string& text) {
    return static_cast<DWORD>(text.size());
}

void Store(LPDWORD where, DWORD value) {
    if (where != nullptr) {
        *where = value;
    }
}

void StoreSubKeyFigures(const OpenKey& key, LPDWORD count, LPDWORD longestName) {
    const std::vector<std::string> names = key.settings->SubKeyNames(key.path);
    DWORD longest = 0;
    for (const std::string& name : names) {
        longest = std::max(longest, Length(capi::AnsiFromUtf8(name)));
    }
    Store(count, static_cast<DWORD>(names.size()));
    Store(longestName, longest);
}

void StoreValueFigures(const OpenKey& key, LPDWORD count, LPDWORD longestName, LPDWORD longest) {
    DWORD nameLength = 0;
    DWORD dataSize = 0;
    const std::vector<SettingsValue>& values = key.Find()->values;
    for (const SettingsValue& value : values) {
        nameLength = std::max(nameLength, Length(capi::AnsiFromUtf8(value.name)));
        dataSize = std::max(dataSize, static_cast<DWORD>(DataOf(value, Width::kAnsi).size()));
    }
    Store(count, static_cast<DWORD>(values.size()));
    Store(longestName, nameLength);
    Store(longest, dataSize);
}

void StoreTime(const OpenKey& key, PFILETIME where) {
    if (where != nullptr) {
        const ULONGLONG time = key.settings->lastWriteTime;
        *where = {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
    }
}

// The path of a name under an open key, or nothing for a name that is no path.
std::optional<std::string> PathUnder(const OpenKey& parent, LPCSTR subKey) {
    std::string name = subKey == nullptr ? std::string() : capi::Utf8FromAnsi(subKey);
    if (name.starts_with('\\')) {
        return std::nullopt;
    }
    if (name.ends_with('\\')) {
        name.pop_back();
    }
    return name.empty() ? parent.path : parent.path + '\\' + name;
}

}  // namespace

LSTATUS WINAPI RegOpenKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
                             PHKEY phkResult) {
    return Guarded([&]() -> LSTATUS {
        if (phkResult == nullptr || ulOptions != 0) {
            return ERROR_INVALID_PARAMETER;
        }
        *phkResult = nullptr;
        const std::shared_ptr<const OpenKey> parent = capi::FindKey(hKey);
        if (parent == nullptr) {
            return ERROR_INVALID_HANDLE;
        }
        const std::optional<std::string> path = PathUnder(*parent, lpSubKey);
        if (!path.has_value()) {
            return ERROR_BAD_PATHNAME;
        }
        if (parent->settings->FindKey(*path) == nullptr) {
            return ERROR_FILE_NOT_FOUND;
        }
        if ((samDesired & kWriteRights) != 0) {
            return ERROR_ACCESS_DENIED;
        }
        *phkResult = AllOpenKeys().Add({parent->settings, *path, samDesired});
        return ERROR_SUCCESS;
    });
}

LSTATUS WINAPI RegCloseKey(HKEY hKey) {
    return IsRoot(hKey) || AllOpenKeys().Remove(hKey) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LSTATUS WINAPI RegQueryInfoKeyA(HKEY hKey, LPSTR lpClass, LPDWORD lpcchClass, LPDWORD lpReserved,
                                LPDWORD lpcSubKeys, LPDWORD lpcbMaxSubKeyLen,
                                LPDWORD lpcbMaxClassLen, LPDWORD lpcValues,
                                LPDWORD lpcbMaxValueNameLen, LPDWORD lpcbMaxValueLen,
                                LPDWORD lpcbSecurityDescriptor, PFILETIME lpftLastWriteTime) {
    return Guarded([&]() -> LSTATUS {
        std::shared_ptr<const OpenKey> key;
        const LSTATUS status = CheckValueArguments(
            hKey, lpReserved, reinterpret_cast<const BYTE*>(lpClass), lpcchClass, &key);
        if (status != ERROR_SUCCESS) {
            return status;
        }
        if (lpClass != nullptr) {
            if (*lpcchClass == 0) {
                return ERROR_MORE_DATA;
            }
            *lpClass = '\0';
        }
        Store(lpcchClass, 0);
        Store(lpcbMaxClassLen, 0);
        Store(lpcbSecurityDescriptor, 0);
        StoreSubKeyFigures(*key, lpcSubKeys, lpcbMaxSubKeyLen);
        StoreValueFigures(*key, lpcValues, lpcbMaxValueNameLen, lpcbMaxValueLen);
        StoreTime(*key, lpftLastWriteTime);
        return ERROR_SUCCESS;
    });
}

LSTATUS WINAPI RegEnumValueA(HKEY hKey, DWORD dwIndex, LPSTR lpValueName, LPDWORD lpcchValueName,
                             LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData) {
    return Guarded([&]() -> LSTATUS {
        std::shared_ptr<const OpenKey> key;
        const LSTATUS status = CheckValueArguments(hKey, lpReserved, lpData, lpcbData, &key);
        if (status != ERROR_SUCCESS) {
            return status;
        }
        if (lpValueName == nullptr || lpcchValueName == nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        const std::vector<SettingsValue>& values = key->Find()->values;
        if (dwIndex >= values.size()) {
            return ERROR_NO_MORE_ITEMS;
        }
        const SettingsValue& value = values[dwIndex];
        const std::string name = capi::AnsiFromUtf8(value.name);
        if (*lpcchValueName <= name.size()) {
            return ERROR_MORE_DATA;
        }
        std::memcpy(lpValueName, name.c_str(), name.size() + 1);
        *lpcchValueName = Length(name);
        return WriteData(value, Width::kAnsi, lpType, lpData, lpcbData);
    });
}

LSTATUS WINAPI RegQueryValueExA(HKEY hKey, LPCSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                                LPBYTE lpData, LPDWORD lpcbData) {
    return Guarded([&] {
        const std::string name = lpValueName == nullptr ? "" : capi::Utf8FromAnsi(lpValueName);
        return QueryValue(hKey, name, Width::kAnsi, lpReserved, lpType, lpData, lpcbData);
    });
}

LSTATUS WINAPI RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                                LPBYTE lpData, LPDWORD lpcbData) {
    return Guarded([&] {
        const std::string name = lpValueName == nullptr ? "" : capi::Utf8FromWide(lpValueName);
        return QueryValue(hKey, name, Width::kWide, lpReserved, lpType, lpData, lpcbData);
    });
}

LSTATUS WINAPI RegEnumKeyExA(HKEY hKey, DWORD dwIndex, LPSTR lpName, LPDWORD lpcchName,
                             LPDWORD lpReserved, LPSTR lpClass, LPDWORD lpcchClass,
                             PFILETIME lpftLastWriteTime) {
    return Guarded([&]() -> LSTATUS {
        const std::shared_ptr<const OpenKey> key = capi::FindKey(hKey);
        if (key == nullptr) {
            return ERROR_INVALID_HANDLE;
        }
        if (lpName == nullptr || lpcchName == nullptr || lpReserved != nullptr ||
            (lpClass != nullptr && lpcchClass == nullptr)) {
            return ERROR_INVALID_PARAMETER;
        }
        if ((key->rights & KEY_ENUMERATE_SUB_KEYS) == 0) {
            return ERROR_ACCESS_DENIED;
        }
        const std::vector<std::string> names = key->settings->SubKeyNames(key->path);
        if (dwIndex >= names.size()) {
            return ERROR_NO_MORE_ITEMS;
        }
        const std::string name = capi::AnsiFromUtf8(names[dwIndex]);
        if (*lpcchName <= name.size() || (lpClass != nullptr && *lpcchClass == 0)) {
            return ERROR_MORE_DATA;
        }
        std::memcpy(lpName, name.c_str(), name.size() + 1);
        *lpcchName = Length(name);
        if (lpClass != nullptr) {
            *lpClass = '\0';
        }
        Store(lpcchClass, 0);
        StoreTime(*key, lpftLastWriteTime);
        return ERROR_SUCCESS;
    });
}

LSTATUS WINAPI RegNotifyChangeKeyValue(HKEY hKey, BOOL bWatchSubtree, DWORD dwNotifyFilter,
                                       HANDLE hEvent, BOOL fAsynchronous) {
    return Guarded([&]() -> LSTATUS {
        constexpr DWORD kFilters = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_ATTRIBUTES |
                                   REG_NOTIFY_CHANGE_LAST_SET | REG_NOTIFY_CHANGE_SECURITY;
        const std::shared_ptr<const OpenKey> key = capi::FindKey(hKey);
        if (key == nullptr) {
            return ERROR_INVALID_HANDLE;
        }
        if (dwNotifyFilter == 0 || (dwNotifyFilter & ~kFilters) != 0 ||
            (fAsynchronous && hEvent == nullptr)) {
            return ERROR_INVALID_PARAMETER;
        }
        if ((key->rights & KEY_NOTIFY) == 0) {
            return ERROR_ACCESS_DENIED;
        }
        const std::shared_ptr<capi::Event> event = fAsynchronous
                                                       ? capi::Find<capi::Event>(hEvent)
                                                       : std::make_shared<capi::Event>(true, false);
        if (event == nullptr) {
            return ERROR_INVALID_HANDLE;
        }
        event->SignalOnChange(std::make_shared<capi::SettingsWatch>(
            capi::SettingsWatch::Subject{key->settings, key->path, bWatchSubtree != FALSE,
                                         (dwNotifyFilter & REG_NOTIFY_CHANGE_LAST_SET) != 0,
                                         (dwNotifyFilter & REG_NOTIFY_CHANGE_NAME) != 0},
            [hKey](std::shared_ptr<const Settings> now) {
                return IsRoot(hKey) || AllOpenKeys().Refresh(hKey, std::move(now));
            }));
        if (!fAsynchronous) {
            event->Wait(std::nullopt);
        }
        return ERROR_SUCCESS;
    });
}
