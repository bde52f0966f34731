// The cryptographic library behind the keys and the random bytes.
#pragma once

namespace provider {

// Has to have been called before the library is used. Cheap after the first time; safe from
// several threads.
void SetUpLibrary();

// Throws std::bad_alloc where the secure memory has no room for one more operation on secret
// numbers. The library would not fail for them, but put them into ordinary memory.
void RequireSecureMemory();

}  // namespace provider
