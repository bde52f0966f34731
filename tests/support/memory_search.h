// Finds octets anywhere in this process's memory.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "platform/cryptoapi.h"

namespace test_support {

// Octets to look for, kept inverted so that looking for them does not find this object.
class Sought {
  public:
    // `inverted` has every bit turned.
    explicit Sought(std::vector<BYTE> inverted);

    // Whether half of the octets, the first or the last, stand somewhere that can be read, in their
    // order or from last to first.
    bool IsInMemory() const;

  private:
    bool IsIn(std::span<const BYTE> octets) const;

    std::vector<std::vector<BYTE>> needles_;
};

}  // namespace test_support
