// The password as it enters a derivation.
#pragma once

#include <cstdint>

#include "foundation/blob.h"

namespace pkisdk {

// Re-encodes `password`, NUL-terminated text in the process's ANSI code page, as UTF-8 without
// terminator into `utf8`. Answers the number of bytes: 0 for a null or empty password, for one that
// can't be converted, or when the wide copy gets no memory (last error ERROR_NOT_ENOUGH_MEMORY).
// When only the second buffer can't be had or filled, the count is answered and `utf8` stays empty,
// so a caller tests both.
std::uint32_t AnsiToUtf8Password(const char* password, IBlob* utf8);

}  // namespace pkisdk
