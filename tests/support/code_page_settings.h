// A settings file that makes code page 1251 the process's ANSI one, so that the 8-bit text of a
// password is not its UTF-8.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace test_support {

// To be called before the first conversion; answers whether it could be set.
inline bool UseCodePage1251() {
    const std::string path =
        std::string(MVLPFX_TEST_WORK) + "/code-page-" + std::to_string(getpid()) + ".toml";
    std::ofstream(path) << "['SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage']\nACP = '1251'\n";
    return setenv("VELMORIX_SETTINGS", path.c_str(), 1) == 0;
}

}  // namespace test_support
