// What the tool asks of its system before anything else.
#pragma once

namespace mvlpfx {

// Keeps the passwords in memory out of core files. With it comes whatever the system needs for a
// person at a terminal to see what the layers below tell the system's log.
void PrepareProcess();

}  // namespace mvlpfx
