// The key algorithms under the names that people use.
#pragma once

#include <string>

#include "platform/cryptoapi.h"

namespace mvlpfx {

struct KeyAlgorithm {
    const char* name;
    // What CryptGenKey makes a signature key of.
    ALG_ID id;
};

// Throws ToolError(kUsage) for an unknown name.
const KeyAlgorithm& FindKeyAlgorithm(const std::string& name);

// The name of a key's KP_ALGID; the number for an unknown one.
std::string KeyAlgorithmName(ALG_ID id);

}  // namespace mvlpfx
