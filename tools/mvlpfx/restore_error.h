// How a restore's failure is told, of one that ran and of one that would.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace mvlpfx {

// What a restore had to do with besides the document.
struct RestoreTrace {
    // That it made.
    std::vector<std::string> containers;
    // Where containers lie.
    std::string folder;
};

// Throws the ToolError of the error word that a restore of the document ended with, and names the
// containers that it made. The integrity value was looked at before, so that the words are those of
// what comes after it.
[[noreturn]] void ThrowRestoreError(std::uint32_t error, std::span<const std::uint8_t> document,
                                    const RestoreTrace& trace = {});

}  // namespace mvlpfx
