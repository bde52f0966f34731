// The containers of the loaded provider, seen through CryptoAPI.
#pragma once

#include <cstddef>

#include "platform/cryptoapi.h"

namespace test_support {

struct ContainerCount {
    // With a key that signs what its own public key verifies.
    std::size_t withKey = 0;
    std::size_t empty = 0;
    // Damaged, or refused at the opening, or with a key that is not whole.
    std::size_t broken = 0;
};

// Opens every container of the user and of the machine. None may have a PIN.
ContainerCount CountContainers();

// Deletes them all, or those of the user (0) or of the machine (CRYPT_MACHINE_KEYSET). False where
// one stays.
bool DeleteContainers();
bool DeleteContainers(DWORD scope);

}  // namespace test_support
