// Random bytes.
#pragma once

#include <span>

#include "platform/cryptoapi.h"

namespace provider {

// Fit for session keys, vectors and salts.
void FillRandom(std::span<BYTE> bytes);

}  // namespace provider
