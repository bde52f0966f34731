// What the file of a container holds, field by field. docs/container-format.md has the same octet
// by octet.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "provider/container.h"

namespace provider {

// The whole file, in octets.
inline constexpr std::size_t kLargestContainerFile = std::size_t{1} << 20;
inline constexpr DWORD kMostPinIterations = 1'000'000;
inline constexpr std::size_t kSealVectorSize = 8;

using ContainerSalt = std::array<BYTE, 32>;
using ContainerMac = std::array<BYTE, 32>;

struct StoredKey {
    KeyRecord record;
    // A vector of kSealVectorSize octets and the encrypted PrivateKeyInfo; empty in an empty slot.
    std::vector<BYTE> sealed;
};

struct ContainerImage {
    ContainerIdentity identity{};
    bool hasPin = false;
    // Of the derivation; 1 where there is no PIN.
    DWORD iterations = 1;
    ContainerSalt salt{};
    std::string name;
    // That of AT_KEYEXCHANGE, then that of AT_SIGNATURE.
    std::array<StoredKey, 2> keys;
    // Over all of the above, under a key that the PIN gives.
    ContainerMac mac{};
};

// What the MAC is over.
std::vector<BYTE> SerializeForMac(const ContainerImage& image);
// The whole file; nothing where it would be larger than kLargestContainerFile.
std::optional<std::vector<BYTE>> SerializeContainer(const ContainerImage& image);
// Nothing where `file` is not, to the last octet, what SerializeContainer writes.
std::optional<ContainerImage> ParseContainer(std::span<const BYTE> file);

}  // namespace provider
