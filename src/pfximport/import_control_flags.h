// How restores behave, for the whole process.
#pragma once

#include <cstdint>

namespace pkisdk {

// 0 when the module is loaded. Written by UzSetImportPfxControlFlags alone and sampled once, at the
// start of a restore; a plain word without a guard.
//   bit 0   a new container is opened silently and takes the document's password for its PIN
extern std::uint32_t ImportControlFlags;

}  // namespace pkisdk
