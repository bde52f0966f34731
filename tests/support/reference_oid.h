// Object identifiers converted step after step over a text buffer of 256 characters, as plainly as
// can be: what the converters of the foundations are held against.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace reference {

// Answer false, and leave `out` alone, on bad input, an arc past signed 32 bits and a text that
// does not fit the buffer with its terminator.
bool OidTextToOctets(const char* text, std::vector<std::uint8_t>* out);
bool OidOctetsToText(const std::vector<std::uint8_t>& octets, std::string* out);

}  // namespace reference
