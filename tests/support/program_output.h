// What another program says.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

namespace test_support {

// The output of a program, in a command line of the system's. It is expected to answer 0.
inline std::string OutputOf(const std::string& command) {
#ifdef _WIN32
    std::FILE* const output = _popen(command.c_str(), "r");
    const auto close = &_pclose;
#else
    std::FILE* const output = popen(command.c_str(), "r");
    const auto close = &pclose;
#endif
    if (output == nullptr) {
        ADD_FAILURE() << command;
        return {};
    }
    std::string text;
    std::array<char, 1024> piece{};
    for (std::size_t got = 1; got != 0; text.append(piece.data(), got)) {
        got = std::fread(piece.data(), 1, piece.size(), output);
    }
    EXPECT_EQ(close(output), 0) << command;
    return text;
}

}  // namespace test_support
