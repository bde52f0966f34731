// A password against a document, as every command that takes one begins.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mvlpfx/commands.h"
#include "mvlpfx/password_source.h"

namespace mvlpfx {

// Answers the password of `source`, which fits the document in `bytes`, which came from `file`.
// What would make a derivation pointless or endless is found before the password is asked for: no
// integrity value, a digest that the provider does not know, more iterations than allowed.
// Throws ToolError with the exit code of the reason.
Secret<wchar_t> CheckPassword(const std::vector<std::uint8_t>& bytes, const std::string& file,
                              const PasswordOptions& source, const CommonOptions& common);

// Throws ToolError where checking the password and decrypting the certificates takes more
// iterations than allowed.
void CheckContentIterations(const std::vector<std::uint8_t>& document, const CommonOptions& common);

// What would make a restore pointless or endless, found before the password is asked for: besides
// the above, more iterations in all derivations together than allowed, and document and password
// both on standard input. Throws ToolError.
void CheckRestorable(const std::vector<std::uint8_t>& document, const std::string& file,
                     const PasswordOptions& source, const CommonOptions& common);

// The word with which the module refuses the password, 0 where it fits.
std::uint32_t VerifyDocument(const std::vector<std::uint8_t>& document,
                             const Secret<wchar_t>& password, bool quiet);

// Throws the ToolError of a word that VerifyDocument answered.
[[noreturn]] void ThrowVerifyError(std::uint32_t error);

}  // namespace mvlpfx
