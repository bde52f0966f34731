// Whether a password fits a document.
#pragma once

#include "foundation/blob.h"

namespace pkisdk {

// Recomputes the document's integrity value under `password` (ANSI code page, NUL-terminated) and
// compares. Nothing is decrypted and nothing is kept. `providerName` is accepted and not read: the
// operation always works with this module's own provider. Answers 1 or 0 and always sets the last
// error:
//   NTE_BAD_DATA             no document, or none whose tail is a MacData
//   NTE_KEYSET_ENTRY_BAD     the value differs: the password is wrong
//   ERROR_INVALID_PASSWORD   the password is empty or of more than 32 bytes in UTF-8
// or what the lookup of the digest algorithm or the provider left. A lookup that fails and leaves 0
// makes the answer 1. Only exceptions of memory leave this function.
int VerifyPfxPassword(const char* password, const IBlob* document, const char* providerName);

}  // namespace pkisdk
