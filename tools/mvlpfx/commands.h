// The subcommands: each takes its parsed options, writes data to standard output, and throws
// ToolError for everything else.
#pragma once

#include <cstdint>
#include <string>

#include "mvlpfx/password_source.h"

namespace mvlpfx {

// What every subcommand takes.
struct CommonOptions {
    bool json = false;
    bool quiet = false;
    std::uint64_t maxIterations = 10'000'000;  // in all derivations of the command together
};

struct InfoOptions {
    CommonOptions common;
    std::string file;
    // Checked where a source is named; never asked for.
    PasswordOptions password;
    bool tree = false;
};

struct VerifyOptions {
    CommonOptions common;
    std::string file;
    PasswordOptions password;
};

// Shows a document's outline, or its every element, for which no password is needed.
void RunInfo(const InfoOptions& options);

// Checks the password against the document's integrity value.
void RunVerify(const VerifyOptions& options);

}  // namespace mvlpfx
