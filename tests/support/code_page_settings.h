// A settings file that makes another code page the process's ANSI one, so that 8-bit text is not
// UTF-8.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace test_support {

// To be called before the first conversion; answers whether it could be set.
inline bool UseCodePage(unsigned number) {
    const std::string path =
        std::string(MVLPFX_TEST_WORK) + "/code-page-" + std::to_string(getpid()) + ".toml";
    std::ofstream(path) << "['SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage']\n"
                        << "ACP = '" << number << "'\n";
    return setenv("VELMORIX_SETTINGS", path.c_str(), 1) == 0;
}

}  // namespace test_support
