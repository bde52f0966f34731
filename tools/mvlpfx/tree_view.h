// Every element of any DER, shown.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

namespace mvlpfx {

struct TreeLine {
    std::uint32_t offset;  // of the identifier octet, in the DER that text forms decode to
    std::int32_t depth;
    std::string type;      // as TypeName gives it
    std::uint32_t length;  // bytes of the value
    bool isIndefinite;     // whether an end-of-contents ends it
    std::string value;     // of an element without elements inside; empty where there is none
};

// Throws ToolError (kMalformed) for bytes that do not read as DER.
std::vector<TreeLine> TreeOf(std::span<const std::uint8_t> document);

void PrintTree(const std::vector<TreeLine>& lines);
nlohmann::ordered_json JsonOfTree(const std::vector<TreeLine>& lines);

}  // namespace mvlpfx
