// Holds the flat list of src/ against the literal one on one input after the other.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace comparison {

// Parses `document` with both and asks the same queries of both lists; `seed` chooses positions,
// depths and which of the costlier ones. Answers the first difference in words, none as an empty
// text.
std::string CompareOnDocument(std::span<const std::uint8_t> document, std::uint64_t seed);

// Both lists go through the edits that the bytes of `script` choose: appends, drops, looks, copies.
std::string CompareOnEdits(std::span<const std::uint8_t> script);

}  // namespace comparison
