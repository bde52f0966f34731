// What is drawn from the C runtime's generator: values that need to differ, not to be secret.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/blob.h"

namespace pkisdk {

// Seeds the runtime's generator from the tick count when the value it gives now is the first of an
// unseeded one; otherwise only that value is used up. A program that seeded it keeps its sequence.
void SeedRuntimeRandom();

// `size` bytes into `salt`, each the low 8 bits of one value: the salt of a document's MAC, which
// unlike the others does not come from the provider. The seed test is the caller's, some steps
// before.
void MakeMacSalt(std::uint32_t size, IBlob* salt);

// After the seed test, a fresh container name: "rnd-" and 36 more characters, upper-case
// hexadecimal digits with a hyphen at every fifth position, 40 in all.
void MakeRandomContainerName(std::string* name);

}  // namespace pkisdk
