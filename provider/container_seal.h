// How the private keys of a container are encrypted, and the container is authenticated.
#pragma once

#include <span>
#include <vector>

#include "provider/container_image.h"
#include "provider/secret_bytes.h"

namespace provider {

// Of a PIN that is set now.
inline constexpr DWORD kNewPinIterations = 50'000;

// The keys that a PIN gives under one salt: that of the cipher and that of the MAC.
struct SealKeys {
    ContainerSalt salt;
    SecretBytes octets;
};

// All of these throw std::bad_alloc where there is no memory for them.

// `pin` is empty for a container that has none: then the keys hide nothing from whoever can read
// the file, whose mode has to guard it, but private keys go one road alone.
SealKeys DeriveSealKeys(std::span<const BYTE> pin, const ContainerSalt& salt, DWORD iterations);

// Under a vector drawn for it, which stands before the encrypted octets.
std::vector<BYTE> Seal(const SealKeys& keys, std::span<const BYTE> secret);
// `sealed` is longer than its vector. Answers something for any keys: the MAC tells the right ones.
SecretBytes Unseal(const SealKeys& keys, std::span<const BYTE> sealed);

ContainerMac ComputeMac(const SealKeys& keys, const ContainerImage& image);
// Whether the image is as somebody left it who knew the PIN. Takes the same time wherever it is
// not.
bool HasMac(const SealKeys& keys, const ContainerImage& image);

// Tells damage from health without a PIN; no protection against a forger.
ContainerMac ComputeChecksum(std::span<const BYTE> octets);

}  // namespace provider
