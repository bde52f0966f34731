// What the stand-ins of PlatformCalls are made of.
#pragma once

#ifndef _WIN32
#include <dlfcn.h>
#endif

#include "support/platform_calls.h"

namespace test_support {

#ifndef _WIN32
template <typename Function>
Function* Real(const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
#endif

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

// STAND_IN(function) is the name of what stands before a function, and REAL(function) the
// platform's own. Elsewhere than on Windows the loader prefers a program's function to a library's
// of the same name; there StandIns.cmake binds the code under test to the other name.
#ifdef _WIN32
#define STAND_IN(function) stand_in_##function
#define REAL(function) (&::function)
#else
#define STAND_IN(function) function
#define REAL(function) test_support::Real(#function, &function)
#endif
