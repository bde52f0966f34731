#include "log/debug_sink.h"

#include "log/log_config.h"
#include "log/sink_write.h"

namespace pkisdk {

namespace {

int SendToDebugger(LogContext* /*context*/, SinkRecord* /*sink*/, char* line, std::size_t length) {
    line[length] = '\n';
    line[length + 1] = '\0';
    OutputDebugStringA(line);
    return 1;
}

}  // namespace

int InitDebugSink(LogContext* context, std::uint32_t level, std::uint32_t fields,
                  std::uint32_t index) {
    return InitSinkRecord(context, level, fields, index) == nullptr ? 0 : 1;
}

void ReloadDebugSink(LogContext* context, std::uint32_t index) {
    SinkRecord* const sink = FindSinkRecord(context, index);
    if (sink != nullptr) {
        ReloadSinkSettings(context, sink, L"dbg_level", L"dbg_field", L"dbg_max");
    }
}

int WriteDebugRecord(LogContext* context, std::uint32_t level, std::uint32_t code,
                     std::uint32_t fields, std::uint32_t index, const char* file, std::int32_t line,
                     const char* function, const char* format, std::va_list arguments) {
    return IsWanted(context, level, index)
               ? WriteRecord(context, code, fields, index, file, line, function, format, arguments,
                             &SendToDebugger)
               : 1;
}

}  // namespace pkisdk
