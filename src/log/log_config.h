// Where a log's settings come from: the registry key of its name under
// HKEY_LOCAL_MACHINE\Software\Wow6432Node\Velmorix\Logs, watched for changes.
//
// No failure leaves the log: what can't be read has its default.
#pragma once

#include "log/log_context.h"

namespace pkisdk {

// These four are what a LogRegistry holds.

// Opens the log's key and has its changes told by an event. Without the library that holds the
// registry in the process, or without the key, there is neither. For the start of the log, when no
// other thread uses it yet: a key that is missing later is opened by the readers, of which any
// number may do so at once.
void OpenLogKey(LogContext* context);

// Forgets the key; with `isFinished`, also closes it and the event.
void CloseLogKey(LogContext* context, bool isFinished);

// A REG_DWORD, else `fallback`.
void ReadLogDword(LogContext* context, const wchar_t* name, std::uint32_t* value,
                  std::uint32_t fallback);

// A REG_SZ in the ANSI code page, else `fallback`.
void ReadLogText(LogContext* context, const wchar_t* name, std::string* text,
                 const std::string& fallback);

// Reads all settings, the sinks' in order.
void ReloadLogConfig(LogContext* context);

// Reloads where the settings have changed. Answers the context's level AND `level`. Changes neither
// the last error nor errno.
std::uint32_t PollLogConfig(LogContext* context, std::uint32_t level);

// Reads a sink's level, fields and maximum. A maximum outside 65 to 4096 is the context's default
// one, and one that is no multiple of 16 is raised to the next.
void ReloadSinkSettings(LogContext* context, SinkRecord* sink, const wchar_t* levelName,
                        const wchar_t* fieldsName, const wchar_t* maximumName);

}  // namespace pkisdk
