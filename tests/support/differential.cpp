#include "support/differential.h"

#include <cstdlib>

namespace differential {

namespace {

std::uint64_t FromEnvironment(const char* name, std::uint64_t otherwise) {
    const char* text = std::getenv(name);
    return text != nullptr ? std::strtoull(text, nullptr, 10) : otherwise;
}

}  // namespace

std::uint64_t Runs(std::uint64_t usual) {
    return FromEnvironment("MVLPFX_DIFF_RUNS", usual);
}

Random MakeRandom() {
    return Random(FromEnvironment("MVLPFX_DIFF_SEED", 20240229));
}

std::uint32_t Below(Random& random, std::uint32_t limit) {
    return static_cast<std::uint32_t>(random() % limit);
}

bool Once(Random& random, std::uint32_t times) {
    return Below(random, times) == 0;
}

}  // namespace differential
