// Documents, good and bad, for randomised tests and benchmarks of the readers of DER.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/differential.h"

namespace documents {

using Bytes = std::vector<std::uint8_t>;

// The content of every file in the folder; throws std::runtime_error when there is none.
std::vector<Bytes> ReadAll(const std::string& folder);

// Bytes of which many are such as headers are made of.
Bytes RandomBytes(differential::Random& random, std::uint32_t sizeLimit);

// Nested elements with definite, indefinite, non-minimal and wrong lengths, runs of zeros between
// them and object identifiers among them.
Bytes NestedElements(differential::Random& random, std::uint32_t elementLimit);

// `document` after some flips, cuts, insertions and repetitions.
Bytes Mutate(differential::Random& random, Bytes document);

// `document` as base64, with or without PEM lines, now and then damaged.
Bytes AsText(differential::Random& random, const Bytes& document);

// `levels` indefinite elements, each the only child of the one before, and behind them as many
// empty ones as make each level read as a run of elements; the check of every level walks over all
// of the empty ones.
Bytes OverlappingRuns(std::size_t levels);

}  // namespace documents
