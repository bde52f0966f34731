// The call that writes to a log.
#pragma once

#include "log/log_context.h"

namespace pkisdk {

// Writes a line to every sink that wants the level. `file` and `function` may be null; `code` is
// the caller's, kNoLogCode for none. A log that is not set up takes nothing. Answers nonzero, or 0
// where a sink's write did: that of the file answers 0 for a line that it has written. Changes
// neither the last error nor errno, and no failure leaves it.
[[gnu::format(printf, 7, 8)]] int LogMessage(LogContext* context, std::uint32_t level,
                                             std::uint32_t code, const char* file,
                                             std::int32_t line, const char* function,
                                             const char* format, ...);

}  // namespace pkisdk
