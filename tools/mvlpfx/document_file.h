// Documents on disk.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mvlpfx {

// The bytes of the file, or of standard input for "-". Throws ToolError (kFile) when it can't be
// read, (kMalformed) when it holds more than the 2 GiB that a document may have.
std::vector<std::uint8_t> ReadDocument(const std::string& path);

}  // namespace mvlpfx
