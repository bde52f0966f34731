// What the layers below tell the system's log.
#pragma once

#include <string>
#include <vector>

namespace mvlpfx {

// The texts that came so far, each once, in the order in which they came first. Those for a
// debugger, and what exceeds 16 KiB in all, are the log's alone. Empty where the system has no log
// that could be listened to.
std::vector<std::string> LoggedTexts();

}  // namespace mvlpfx
