// What the writing of a record has in common, whatever the sink.
#pragma once

#include <span>

#include "log/log_context.h"

namespace pkisdk {

// Sends a terminated line of `length` bytes, behind which there is room for a line feed and a
// terminator. Answers what the sink's write answers.
using SendLine = int (*)(LogContext* context, SinkRecord* sink, char* line, std::size_t length);

// Whether there is a sink of that index and it takes the level, which a SinkWrite asks first: most
// records end there.
inline bool IsWanted(const LogContext* context, std::uint32_t level, std::uint32_t index) {
    const SinkRecord* const sink = FindSinkRecord(context, index);
    return sink != nullptr && (sink->level & level) != 0;
}

// A SinkWrite but for that question and the sending: the record as a line or, under kLogFormDump in
// `fields`, as the lines of a dump, whose arguments are a pointer and a length of 32 bits. Answers
// 0 where a line's sending did; 1 where there was nothing to send or no memory.
int WriteRecord(LogContext* context, std::uint32_t code, std::uint32_t fields, std::uint32_t index,
                const char* file, std::int32_t line, const char* function, const char* format,
                std::va_list arguments, SendLine send);

}  // namespace pkisdk
