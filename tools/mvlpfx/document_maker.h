// Making a document of the certificates of a store and their keys.
#pragma once

#include <cstdint>
#include <vector>

#include "mvlpfx/handles.h"
#include "mvlpfx/secret.h"

namespace mvlpfx {

// The document, with the names of provider and containers where they are asked for. Throws
// ToolError, which names the certificates that keep it from being made.
std::vector<std::uint8_t> MakeDocument(HCERTSTORE store, const Secret<wchar_t>& password,
                                       bool withNames);

// A password to try with whether a document can be made under any.
Secret<wchar_t> AnyPassword();

// Presents the PIN to the containers that have one, from where the certificates of the store,
// which is one in memory, are used. Throws ToolError.
void GivePinWhereAsked(HCERTSTORE store, const Secret<char>& pin);

}  // namespace mvlpfx
