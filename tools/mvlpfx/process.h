// What the tool asks of its system before anything else.
#pragma once

namespace mvlpfx {

// Keeps the passwords in memory out of core files.
void PrepareProcess();

}  // namespace mvlpfx
