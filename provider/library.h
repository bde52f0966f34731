// The cryptographic library behind the keys and the random bytes.
#pragma once

#include <span>

#include "platform/cryptoapi.h"

namespace provider {

// Has to have been called before the library is used. Cheap after the first time; safe from
// several threads.
void SetUpLibrary();

// Throws std::bad_alloc where the secure memory has no room for one more operation on secret
// numbers. The library would not fail for them, but put them into ordinary memory.
void RequireSecureMemory();

// Fills `hash` with the value of `octets` under the library's algorithm of that size. Throws
// std::bad_alloc, where the library's shortest way to the value would end the process.
void HashAtOnce(int libraryId, std::span<const BYTE> octets, std::span<BYTE> hash);

}  // namespace provider
