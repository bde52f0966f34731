// What the stand-ins of PlatformCalls are made of.
#pragma once

#include <dlfcn.h>

#include "support/platform_calls.h"

namespace test_support {

template <typename Function>
Function* Real(const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

inline PlatformCalls& Calls() {
    return PlatformCalls::Get();
}

// Notes the call. True where it is to fail, with the last error set.
inline bool Refused(const char* name, CallDetail detail = {}) {
    if (!Calls().Fails(name, detail)) {
        return false;
    }
    SetLastError(Calls().Error());
    return true;
}

}  // namespace test_support

// The platform's own function.
#define REAL(function) test_support::Real(#function, &function)
