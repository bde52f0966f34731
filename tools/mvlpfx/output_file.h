// Files that a command makes.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace mvlpfx {

// Throws ToolError where a file of this name could not be made, as far as that can be seen without
// making it: kExists, unless it may be replaced; kFile with the system's reason.
void RequireWritable(const std::string& path, bool replaces);

// Writes `bytes` to `path` as a whole: to a temporary file beside it that only its owner may read,
// which is flushed and then takes the name. A file that is there already is replaced where
// `replaces`, else left as it is. Throws ToolError: kExists, kFile with the system's reason; and
// Interrupted. What was there before a failure stays.
void WriteOutputFile(const std::string& path, std::span<const std::uint8_t> bytes, bool replaces);

}  // namespace mvlpfx
