// What a restore refuses of a document, though its password fits.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace mvlpfx {

struct DocumentRemarks {
    std::uint64_t bytesBehind = 0;  // behind the document's end
    // Offset of the first element of indefinite length, in the DER that text forms decode to, where
    // such elements hide keys.
    std::optional<std::uint32_t> hiddenFrom;
};

DocumentRemarks FindRemarks(std::span<const std::uint8_t> document);

// A line for each; none where there is nothing to tell.
std::vector<std::string> LinesOf(const DocumentRemarks& remarks);

// Adds "bytesBehind" and "indefiniteAt", each where there is something to tell.
void AddRemarks(const DocumentRemarks& remarks, nlohmann::ordered_json* report);

}  // namespace mvlpfx
