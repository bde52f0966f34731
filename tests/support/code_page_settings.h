// Settings that make another code page the process's ANSI one, so that 8-bit text is not UTF-8.
#pragma once

#include <string>

#include "support/scoped_environment.h"

namespace test_support {

// To be in place before the first conversion.
inline ScopedSettings UseCodePage(unsigned number) {
    return ScopedSettings("['SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage']\nACP = '" +
                          std::to_string(number) + "'\n");
}

}  // namespace test_support
