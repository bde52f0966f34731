// The module's own log, of which it tells the system when it comes and goes.
#pragma once

#include "log/log_context.h"

namespace pkisdk {

// The one log, as long as the module lives.
LogContext* ModuleLog();

// What the platform calls when the module comes and goes: sets the log up and writes "loading", and
// in the end "unloading". `reserved` is null where the module goes before its process. Answers 1
// whatever becomes of the log, and leaves the last error and errno as they were.
int OnModuleEvent(DWORD reason, const void* reserved);

}  // namespace pkisdk
