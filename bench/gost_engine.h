// OpenSSL's GOST algorithms, which come from an engine alone.
#pragma once

#include <openssl/engine.h>

namespace bench {

// False where the engine is not installed. To be called before anything decodes a GOST certificate:
// OpenSSL remembers which keys it found no code for.
inline bool LoadGostEngine() {
    ENGINE_load_builtin_engines();
    ENGINE* engine = ENGINE_by_id("gost");
    return engine != nullptr && ENGINE_init(engine) == 1 &&
           ENGINE_set_default(engine, ENGINE_METHOD_ALL) == 1;
}

}  // namespace bench
