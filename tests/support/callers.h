// Who called, from the addresses of a walk over the frames.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace test_support {

struct Frame {
    // The file of the program or library.
    std::string library;
    // Empty for a function that its library does not show.
    std::string function;
};

// From the innermost outward. A program shows its functions where it exports them
// (ENABLE_EXPORTS).
std::vector<Frame> NameFrames(std::span<void* const> addresses);

}  // namespace test_support
