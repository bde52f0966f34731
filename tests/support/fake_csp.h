// What tests know of the provider of fake_csp.cpp.
#pragma once

#include <string>

#include "platform/cryptoapi.h"

namespace test_support {

inline constexpr char kFakeCspName[] = "Fake Provider";
inline constexpr DWORD kFakeCspType = 77;
inline constexpr HCRYPTKEY kStubbornKey = 4242;
inline constexpr DWORD kMissingKeySpec = 9;

// Settings under which it is found.
inline std::string FakeCspSettings(const std::string& imagePath) {
    return std::string("['SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\") + kFakeCspName +
           "']\nType = 77\n'Image Path' = '" + imagePath + "'\n";
}

}  // namespace test_support
