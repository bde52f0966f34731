#include "log/log_message.h"

#include "log/log_config.h"
#include "log/log_record.h"

namespace pkisdk {

int LogMessage(LogContext* context, std::uint32_t level, std::uint32_t code, const char* file,
               std::int32_t line, const char* function, const char* format, ...) {
    if (PollLogConfig(context, level) == 0) {
        return 1;
    }
    if (context->sinkWrites == nullptr || format == nullptr) {
        return 0;
    }
    const std::uint32_t fields = context->fields;
    if (fields == 0) {
        return 1;
    }
    int answer = 1;
    std::va_list arguments;
    va_start(arguments, format);
    for (std::uint32_t i = 0; i < context->sinkCount; ++i) {
        std::va_list own;
        va_copy(own, arguments);
        if (context->sinkWrites[i](context, level, code, fields & ~kLogFormDump, i + 1, file, line,
                                   function, format, own) == 0) {
            answer = 0;
        }
        va_end(own);
    }
    va_end(arguments);
    return answer;
}

}  // namespace pkisdk
