// What the tool asks of its system before anything else.
#pragma once

namespace mvlpfx {

// Keeps the passwords in memory out of core files, and lets a person at a terminal see what the
// layers below tell the system's log.
void PrepareProcess();

}  // namespace mvlpfx
