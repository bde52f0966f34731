// A password against a document, as every command that takes one begins.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mvlpfx/commands.h"
#include "mvlpfx/password_source.h"

namespace mvlpfx {

// Returns when the password of `source` fits the document in `bytes`, which came from `file`. What
// would make a derivation pointless or endless is found before the password is asked for: no
// integrity value, a digest that the provider does not know, more iterations than allowed.
// Throws ToolError with the exit code of the reason.
void CheckPassword(std::vector<std::uint8_t>* bytes, const std::string& file,
                   const PasswordOptions& source, const CommonOptions& common);

}  // namespace mvlpfx
