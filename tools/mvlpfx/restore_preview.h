// What a restore would do.
#pragma once

#include <cstdint>
#include <vector>

#include "mvlpfx/commands.h"

namespace mvlpfx {

// Verifies the password, decrypts the certificates and shows which there are and what keys come
// with them. No container and no system store is touched. Throws ToolError.
void PreviewRestore(const RestoreOptions& options, const std::vector<std::uint8_t>& document,
                    const Secret<wchar_t>& password);

}  // namespace mvlpfx
