#include "log/log_config.h"

#include <utility>
#include <vector>

namespace pkisdk {

namespace {

constexpr char kLogsKey[] = "Software\\Wow6432Node\\Velmorix\\Logs";
constexpr char kRegistryLibrary[] = "advapi32.dll";

template <typename Function>
bool FindFunction(HMODULE library, const char* name, std::atomic<Function>* function) {
    if (function->load() == nullptr) {
        // Through the one type that every function's address may pass.
        function->store(reinterpret_cast<Function>(
            reinterpret_cast<void (*)()>(GetProcAddress(library, name))));
    }
    return function->load() != nullptr;
}

// The library is not loaded for this: a process without it has no settings.
bool FindRegistryFunctions(LogContext* context) {
    const HMODULE library = GetModuleHandleA(kRegistryLibrary);
    context->registryModule = library;
    return library != nullptr && FindFunction(library, "RegOpenKeyExA", &context->openKey) &&
           FindFunction(library, "RegNotifyChangeKeyValue", &context->notifyChange) &&
           FindFunction(library, "RegCloseKey", &context->closeKey) &&
           FindFunction(library, "RegQueryValueExW", &context->queryValue);
}

HKEY OpenKeyOfModule(const LogContext& context) {
    HKEY logs = nullptr;
    if (context.openKey.load()(HKEY_LOCAL_MACHINE, kLogsKey, 0, KEY_QUERY_VALUE, &logs) !=
        ERROR_SUCCESS) {
        return nullptr;
    }
    HKEY key = nullptr;
    const LSTATUS status =
        context.openKey.load()(logs, context.name.data(), 0, KEY_QUERY_VALUE | KEY_NOTIFY, &key);
    context.closeKey.load()(logs);
    return status == ERROR_SUCCESS ? key : nullptr;
}

void WatchKey(const LogContext& context, HKEY key, HANDLE event) {
    context.notifyChange.load()(key, FALSE, REG_NOTIFY_CHANGE_LAST_SET, event, TRUE);
}

// Threads may come here at once: the key of the first stays, and the others' are closed.
void OpenOnce(LogContext* context) {
    LogRegistry* const registry = context->registry;
    const HKEY key = FindRegistryFunctions(context) ? OpenKeyOfModule(*context) : nullptr;
    if (key == nullptr) {
        return;
    }
    HKEY none = nullptr;
    if (!registry->key.compare_exchange_strong(none, key)) {
        context->closeKey.load()(key);
        return;
    }
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (event != nullptr) {
        WatchKey(*context, key, event);
    }
    registry->event = event;
}

// The open key, opened now if it is not; null where there is none.
HKEY KeyOf(LogContext* context) {
    if (context->registry->key.load() == nullptr) {
        OpenOnce(context);
    }
    return context->registry->key;
}

// Terminated, whatever the value was.
bool QueryText(const LogContext& context, HKEY key, const wchar_t* name,
               std::vector<wchar_t>* text) {
    DWORD type = 0;
    DWORD size = 0;
    if (context.queryValue.load()(key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
        type != REG_SZ) {
        return false;
    }
    text->assign(size / sizeof(wchar_t) + 2, L'\0');
    return context.queryValue.load()(key, name, nullptr, &type,
                                     reinterpret_cast<BYTE*>(text->data()),
                                     &size) == ERROR_SUCCESS &&
           type == REG_SZ;
}

bool Narrow(const wchar_t* wide, std::string* text) {
    const int size = WideCharToMultiByte(CP_ACP, 0, wide, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0) {
        return false;
    }
    std::string narrow(static_cast<std::size_t>(size), '\0');
    if (WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow.data(), size, nullptr, nullptr) != size) {
        return false;
    }
    narrow.pop_back();
    *text = std::move(narrow);
    return true;
}

std::uint32_t LimitedMaximum(const LogContext& context, std::uint32_t maximum) {
    constexpr std::uint32_t kLeast = 65;
    constexpr std::uint32_t kMost = 4096;
    constexpr std::uint32_t kStep = 16;
    if (maximum > kMost || maximum < kLeast) {
        maximum = context.defaultMaximum;
    }
    return (maximum + kStep - 1) / kStep * kStep;
}

}  // namespace

void OpenLogKey(LogContext* context) {
    context->registry->key = nullptr;
    context->registry->event = nullptr;
    OpenOnce(context);
}

void CloseLogKey(LogContext* context, bool isFinished) {
    const HKEY key = context->registry->key.exchange(nullptr);
    if (!isFinished) {
        return;
    }
    if (key != nullptr) {
        context->closeKey.load()(key);
    }
    const HANDLE event = context->registry->event.exchange(nullptr);
    if (event != nullptr) {
        CloseHandle(event);
    }
    context->registryModule = nullptr;
}

void ReadLogDword(LogContext* context, const wchar_t* name, std::uint32_t* value,
                  std::uint32_t fallback) {
    *value = fallback;
    const HKEY key = KeyOf(context);
    if (key == nullptr) {
        return;
    }
    DWORD type = 0;
    DWORD data = 0;
    DWORD size = sizeof(data);
    if (context->queryValue.load()(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&data),
                                   &size) == ERROR_SUCCESS &&
        type == REG_DWORD && size == sizeof(data)) {
        *value = data;
    }
}

void ReadLogText(LogContext* context, const wchar_t* name, std::string* text,
                 const std::string& fallback) {
    const HKEY key = KeyOf(context);
    std::vector<wchar_t> wide;
    if (key == nullptr || !QueryText(*context, key, name, &wide) || !Narrow(wide.data(), text)) {
        *text = fallback;
    }
}

void ReloadSinkSettings(LogContext* context, SinkRecord* sink, const wchar_t* levelName,
                        const wchar_t* fieldsName, const wchar_t* maximumName) {
    std::uint32_t value = 0;
    context->registry->readDword(context, levelName, &value, sink->defaultLevel);
    sink->level = value;
    context->registry->readDword(context, fieldsName, &value, sink->defaultFields);
    sink->fields = value;
    context->registry->readDword(context, maximumName, &value, sink->defaultMaximum);
    sink->maximum = LimitedMaximum(*context, value);
}

void ReloadLogConfig(LogContext* context) {
    std::uint32_t value = 0;
    context->registry->readDword(context, L"level", &value, context->defaultLevel);
    context->level = value;
    context->registry->readDword(context, L"fields", &value, context->defaultFields);
    context->fields = value;
    for (std::uint32_t i = 0; context->sinkReloads != nullptr && i < context->sinkCount; ++i) {
        if (context->sinkReloads[i] != nullptr) {
            context->sinkReloads[i](context, i + 1);
        }
    }
}

std::uint32_t PollLogConfig(LogContext* context, std::uint32_t level) {
    LogRegistry* const registry = context->registry;
    const HANDLE event = registry == nullptr ? nullptr : registry->event.load();
    if (event == nullptr) {
        return context->level & level;
    }
    const DWORD lastError = context->getLastError();
    const int savedErrno = context->getErrno();
    if (WaitForSingleObject(event, 0) == WAIT_OBJECT_0) {
        ResetEvent(event);
        ReloadLogConfig(context);
        WatchKey(*context, registry->key, registry->event);
    }
    context->setErrno(savedErrno);
    context->setLastError(lastError);
    return context->level & level;
}

}  // namespace pkisdk
