// Octets that end where the memory ends: a read of one more crashes in every build.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace test_support {

// A copy of `octets`, at most 65536 of them, right before a page that cannot be read.
class GuardedOctets {
  public:
    // Throws std::bad_alloc where they are more, or the system gives no pages.
    explicit GuardedOctets(std::span<const std::uint8_t> octets);

    std::span<const std::uint8_t> Bytes() const { return bytes_; }

  private:
    struct Release {
        void operator()(std::uint8_t* pages) const;
    };

    std::unique_ptr<std::uint8_t, Release> pages_;
    std::span<const std::uint8_t> bytes_;
};

}  // namespace test_support
