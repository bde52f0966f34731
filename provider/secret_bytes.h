// Octets that are to be known to this process alone, and only for a while.
#pragma once

#include <cstddef>
#include <span>

#include "platform/cryptoapi.h"

namespace provider {

// Octets in the library's secure memory, wiped when they are released.
class SecretBytes {
  public:
    SecretBytes() = default;
    // Zeros. Throws std::bad_alloc where secure memory is exhausted.
    explicit SecretBytes(std::size_t size);
    static SecretBytes CopyOf(std::span<const BYTE> octets);
    // The other is left empty.
    SecretBytes(SecretBytes&& other) noexcept;
    SecretBytes& operator=(SecretBytes&& other) noexcept;
    ~SecretBytes();

    // Null when empty.
    BYTE* data() { return octets_.data(); }
    const BYTE* data() const { return octets_.data(); }
    std::size_t size() const { return octets_.size(); }
    bool empty() const { return octets_.empty(); }
    std::span<BYTE> View() { return octets_; }
    std::span<const BYTE> View() const { return octets_; }

  private:
    std::span<BYTE> octets_;
};

}  // namespace provider
