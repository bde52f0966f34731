// The person at the terminal.
#pragma once

#include <string>

#include "mvlpfx/secret.h"

namespace mvlpfx {

// The line that is typed behind the prompt, without echo, in the user's encoding. Throws ToolError:
// kUsage where there is no terminal, else as ReadLine.
Secret<char> AskOnTerminal(const std::string& prompt);

}  // namespace mvlpfx
