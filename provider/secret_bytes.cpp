#include "provider/secret_bytes.h"

#include <gcrypt.h>

#include <algorithm>
#include <new>
#include <utility>

#include "provider/library.h"
#include "provider/wipe.h"

namespace provider {

SecretBytes::SecretBytes(std::size_t size) {
    if (size == 0) {
        return;
    }
    SetUpLibrary();
    auto* const octets = static_cast<BYTE*>(gcry_calloc_secure(size, 1));
    if (octets == nullptr) {
        throw std::bad_alloc();
    }
    octets_ = {octets, size};
}

SecretBytes SecretBytes::CopyOf(std::span<const BYTE> octets) {
    SecretBytes copy(octets.size());
    std::copy(octets.begin(), octets.end(), copy.data());
    return copy;
}

SecretBytes::SecretBytes(SecretBytes&& other) noexcept
    : octets_(std::exchange(other.octets_, {})) {}

SecretBytes& SecretBytes::operator=(SecretBytes&& other) noexcept {
    SecretBytes moved(std::move(other));
    std::swap(octets_, moved.octets_);
    return *this;
}

SecretBytes::~SecretBytes() {
    if (!octets_.empty()) {
        Wipe(octets_.data(), octets_.size());
        gcry_free(octets_.data());
    }
}

}  // namespace provider
