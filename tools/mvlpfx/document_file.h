// Documents on disk.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mvlpfx {

// The bytes of the file, or of standard input for "-"; of text that an editor saved with a byte
// order mark what stands behind it, and of UTF-16 a byte for each unit. Throws ToolError (kFile)
// when it can't be read, (kMalformed) when it holds more than the 2 GiB that a document may have.
std::vector<std::uint8_t> ReadDocument(const std::string& path);

// The document that base64 or PEM text stands for; other bytes as they are.
std::vector<std::uint8_t> WithoutArmour(std::vector<std::uint8_t> bytes);

// The bytes as PEM text between lines that bear `label`.
std::vector<std::uint8_t> PemOf(const std::vector<std::uint8_t>& bytes, const std::string& label);

}  // namespace mvlpfx
