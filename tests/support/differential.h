// Drives randomised tests that hold a fast version against a literal one.
#pragma once

#include <cstdint>
#include <random>

namespace differential {

using Random = std::mt19937_64;

// How many inputs a test takes: `usual`, or for a long run what MVLPFX_DIFF_RUNS says.
std::uint64_t Runs(std::uint64_t usual);

// Fixed, so that a failure can be repeated; a long run takes another with MVLPFX_DIFF_SEED.
Random MakeRandom();

// 0 to `limit` - 1.
std::uint32_t Below(Random& random, std::uint32_t limit);

// True once in `times`.
bool Once(Random& random, std::uint32_t times);

}  // namespace differential
