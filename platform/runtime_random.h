// The C runtime's generator, where the runtimes differ.
#pragma once

namespace pkisdk {

// The first value of std::rand() in a process that never called std::srand(): by the C standard the
// same as after std::srand(1).
#ifdef _WIN32
inline constexpr int kFirstUnseededRandom = 41;
#else
inline constexpr int kFirstUnseededRandom = 1804289383;  // glibc
#endif

}  // namespace pkisdk
