// The price of a derivation.
#pragma once

#include <cstdint>

namespace pkisdk {

// The iterations that a derivation runs for a count in a document or from a caller: the count
// itself, and kDefaultIterations for 0. It stands in a file of its own so that fuzz targets and
// tests of very many documents can link a cheap one in its place.
std::uint32_t EffectiveIterations(std::uint32_t requested);

}  // namespace pkisdk
