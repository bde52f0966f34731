// What a context can list.
#pragma once

#include <string>
#include <vector>

#include "platform/cryptoapi.h"

namespace mvlpfx {

// Every text of a parameter that enumerates, in the provider's order. Throws ToolError.
std::vector<std::string> Enumerate(HCRYPTPROV provider, DWORD parameter);

// The containers of user or machine. Throws ToolError.
std::vector<std::string> ContainerNames(bool machine);

}  // namespace mvlpfx
