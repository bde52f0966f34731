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

// Where containers lie, for a person who has to mend what is wrong there; empty where the provider
// can't be reached.
std::string ContainerFolder(bool machine);

}  // namespace mvlpfx
