// The log of a module: what it is made of, and how it is set up.
//
// A log is a table-driven object that lives as long as its module. A call names a level, a bit that
// both the context's mask and a sink's must have; the parts of a line are bits that both field
// masks must have. Settings come from the registry and are read again when they change.
//
// There are no locks. Any thread may log and reload: each setting is an atomic of its own, in which
// a reader finds the old value or the new one.
#pragma once

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/cryptoapi.h"

namespace pkisdk {

struct LogContext;

// Hands a record to the sink of that index, as far as the sink wants it; `fields` are the
// context's. Answers nonzero, or 0 as the sink's own writing did. Changes neither the last error
// nor errno.
using SinkWrite = int (*)(LogContext* context, std::uint32_t level, std::uint32_t code,
                          std::uint32_t fields, std::uint32_t index, const char* file,
                          std::int32_t line, const char* function, const char* format,
                          std::va_list arguments);

// Reads a sink's settings again.
using SinkReload = void (*)(LogContext* context, std::uint32_t index);

// Writes its part at `*position`, where `*left` bytes are free, the terminator's among them, and
// moves both. One that writes nothing or does not fit leaves `*left` at 0: the line ends there.
using FieldHandler = void (*)(const LogContext& context, char** position, std::size_t* left);

// What the log needs of a sink, whatever its kind.
struct SinkRecord {
    std::uint32_t defaultLevel = 0;
    std::uint32_t defaultFields = 0;
    std::atomic<std::uint32_t> level{0};
    std::atomic<std::uint32_t> fields{0};
    // The longest line in bytes, its line feed among them.
    std::atomic<std::uint32_t> maximum{0};
    std::uint32_t defaultMaximum = 0;
};

// How a log reaches its settings (log_config.h), and what it holds of them while it lives.
struct LogRegistry {
    void (*open)(LogContext* context);
    void (*close)(LogContext* context, bool isFinished);
    void (*readDword)(LogContext* context, const wchar_t* name, std::uint32_t* value,
                      std::uint32_t fallback);
    void (*readText)(LogContext* context, const wchar_t* name, std::string* text,
                     const std::string& fallback);
    std::atomic<HKEY> key{nullptr};
    // Signalled when the settings have changed; null where nobody would tell.
    std::atomic<HANDLE> event{nullptr};
};

inline constexpr std::size_t kLogNameRoom = 32;

struct LogContext {
    std::atomic<std::uint32_t> level{0};
    std::atomic<std::uint32_t> fields{0};
    std::uint32_t defaultLevel = 0;
    std::uint32_t defaultFields = 0;
    // The longest line of a sink that has no setting for it.
    std::uint32_t defaultMaximum = 0;
    std::uint32_t sinkCount = 0;
    std::uint32_t handlerCount = 0;

    // Tables of `sinkCount`: the sink of index 1 comes first.
    const SinkWrite* sinkWrites = nullptr;
    void* spareOfSinks = nullptr;
    SinkRecord* const* sinkRecords = nullptr;
    const SinkReload* sinkReloads = nullptr;

    std::array<char, kLogNameRoom> name{};
    std::array<wchar_t, kLogNameRoom> wideName{};

    const FieldHandler* handlers = nullptr;
    void* spareOfHandlers = nullptr;

    LogRegistry* registry = nullptr;

    DWORD(WINAPI* getLastError)() = nullptr;
    void(WINAPI* setLastError)(DWORD word) = nullptr;
    int (*getErrno)() = nullptr;
    void (*setErrno)(int value) = nullptr;

    // For lines too long for the stack. Both null: the C runtime's own. No memory: null.
    void* (*allocate)(std::size_t size) = nullptr;
    void (*release)(void* memory) = nullptr;

    // The library that holds the registry, and its functions, each found when it is first wanted.
    std::atomic<HMODULE> registryModule{nullptr};
    std::atomic<decltype(&RegOpenKeyExA)> openKey{nullptr};
    std::atomic<decltype(&RegNotifyChangeKeyValue)> notifyChange{nullptr};
    std::atomic<decltype(&RegCloseKey)> closeKey{nullptr};
    std::atomic<decltype(&RegQueryValueExW)> queryValue{nullptr};
};

// Sets a log up and opens its settings. Of `name` 31 characters count, and its control characters
// become "?". Tables and records stay the caller's and live as long as the log. Answers 0 where the
// context, the name, the handlers or the registry's operations are missing, or both tables of the
// sinks' operations; nonzero on success, and for a log that is set up already, which stays as it
// is.
int InitLogContext(LogContext* context, const char* name, std::uint32_t level, std::uint32_t fields,
                   std::uint32_t sinkCount, const SinkWrite* sinkWrites, void* spareOfSinks,
                   SinkRecord* const* sinkRecords, const SinkReload* sinkReloads,
                   std::uint32_t handlerCount, const FieldHandler* handlers, void* spareOfHandlers,
                   LogRegistry* registry, std::uint32_t defaultMaximum);

// The record of the sink of that index (1-based); null where there is none.
inline SinkRecord* FindSinkRecord(const LogContext* context, std::uint32_t index) {
    if (context->sinkRecords == nullptr || index == 0 || index > context->sinkCount) {
        return nullptr;
    }
    return context->sinkRecords[index - 1];
}

// Gives a sink its defaults, which are its settings until a reload. Null as above.
SinkRecord* InitSinkRecord(LogContext* context, std::uint32_t level, std::uint32_t fields,
                           std::uint32_t index);

}  // namespace pkisdk
