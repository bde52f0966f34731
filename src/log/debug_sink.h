// The sink that a debugger listens to.
#pragma once

#include "log/log_context.h"

namespace pkisdk {

// Gives the sink of that index its defaults. Answers 0 where there is none, else nonzero.
int InitDebugSink(LogContext* context, std::uint32_t level, std::uint32_t fields,
                  std::uint32_t index);

// A SinkReload: "dbg_level", "dbg_field", "dbg_max".
void ReloadDebugSink(LogContext* context, std::uint32_t index);

// A SinkWrite to OutputDebugStringA.
int WriteDebugRecord(LogContext* context, std::uint32_t level, std::uint32_t code,
                     std::uint32_t fields, std::uint32_t index, const char* file, std::int32_t line,
                     const char* function, const char* format, std::va_list arguments);

}  // namespace pkisdk
