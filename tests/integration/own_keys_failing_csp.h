// A provider in front of the real one that refuses the call of a chosen number.
#pragma once

namespace own_keys {

inline constexpr char kFailingCspName[] = "Failing Provider";

// What the library answers through its function FailingCspControl.
struct FailingCsp {
    // The calls from here on until one is refused with NTE_FAIL; below zero none is. Calls that
    // release, destroy or ask for sizes count like the others, but releasing is never refused.
    int callsUntilRefusal = -1;
    // Contexts, keys and hashes that were given out and not taken back; what a context owns goes
    // with it.
    int openObjects = 0;
    // Releases the contexts that are open, for a test of a leak that is meant.
    void (*releaseContexts)() = nullptr;
};
using FailingCspControlFunction = FailingCsp*();

}  // namespace own_keys
