// How a restore's failure is told, of one that ran and of one that would.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

// What a restore had to do with besides the document.
struct RestoreTrace {
    // That it made.
    std::vector<std::string> containers;
    // Where containers lie.
    std::string folder;
};

// The error of the word that a restore of the document ended with; it names the containers that the
// restore made. The integrity value was looked at before, so that the words are those of what comes
// after it.
ToolError MakeRestoreError(std::uint32_t error, std::span<const std::uint8_t> document,
                           const RestoreTrace& trace = {});
[[noreturn]] void ThrowRestoreError(std::uint32_t error, std::span<const std::uint8_t> document,
                                    const RestoreTrace& trace = {});

}  // namespace mvlpfx
