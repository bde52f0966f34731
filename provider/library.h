// The cryptographic library behind the keys and the random bytes.
#pragma once

namespace provider {

// Has to have been called before the library is used. Cheap after the first time; safe from
// several threads.
void SetUpLibrary();

}  // namespace provider
