// Salts of exports that a test knows.
#pragma once

#include <algorithm>
#include <span>

#include "support/platform_calls.h"

namespace test_support {

// Draws in the place of CryptGenRandom from here on, for as long as it lives. All octets of a salt
// are the same, also of the two that one attempt draws, for the keys and for the certificates; the
// next attempt has the next octet. There is one where the document would read as another one, which
// that of a new key does a few times in 100,000.
class ExportSalts {
  public:
    explicit ExportSalts(BYTE first) : first_(first) {
        PlatformCalls::Get().ReplaceRandom([this](std::span<BYTE> octets) {
            last_ = static_cast<BYTE>(first_ + draws_ / 2);
            ++draws_;
            std::ranges::fill(octets, last_);
        });
    }
    ~ExportSalts() { PlatformCalls::Get().ReplaceRandom(nullptr); }
    ExportSalts(const ExportSalts&) = delete;
    ExportSalts& operator=(const ExportSalts&) = delete;

    // Of the last attempt.
    BYTE Octet() const { return last_; }

  private:
    BYTE first_;
    BYTE last_ = 0;
    unsigned draws_ = 0;
};

}  // namespace test_support
