// Changes to a document that see the elements in it, for inputs which stay documents where a flip
// of octets would only break the outermost length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace documents {

// Answers a number below its argument, which is not 0: random, or told by an input.
using Choose = std::function<std::uint32_t(std::uint32_t)>;

// `document` after one edit that `choose` makes: an element dropped, doubled, moved, wrapped,
// opened or given another tag, value or form of length; the lengths around it follow, unless the
// edit is to make one wrong. What is no run of elements of definite length comes back as it is.
std::vector<std::uint8_t> EditElements(const Choose& choose,
                                       const std::vector<std::uint8_t>& document);

}  // namespace documents
