// The containers of the loaded provider, seen through CryptoAPI.
#pragma once

#include <cstddef>
#include <string>

namespace fuzz_support {

// Aborts the process.
void Require(bool condition);

struct ContainerCount {
    std::size_t withKey = 0;
    std::size_t empty = 0;
};

// Opens every container of the user and of the machine. Aborts where one is damaged, does not open,
// or has a key that does not sign what its own public key verifies.
ContainerCount RequireWholeContainers();

// Deletes them all. Aborts where one stays.
void DeleteContainers();

}  // namespace fuzz_support
