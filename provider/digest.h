// The hash algorithms, over states that are plain memory.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "platform/cryptoapi.h"

namespace provider {

inline constexpr std::size_t kLargestDigest = 64;
inline constexpr std::size_t kLargestBlock = 64;

// Holds the state of any of the algorithms. It is left uninitialised: a state's algorithm tells
// how much of it means something.
struct DigestState {
    alignas(16) std::array<std::byte, 272> bytes;
};

struct DigestAlgorithm {
    ALG_ID id;
    // In octets.
    DWORD digestSize;
    DWORD blockSize;
    // The octets of a state that are ever written.
    std::size_t stateSize;
    // Those of them that count while only whole blocks have been hashed.
    std::size_t chainingSize;

    void (*start)(DigestState* state);
    void (*update)(DigestState* state, const BYTE* data, std::size_t size);
    // Writes `digestSize` octets; the state is started again.
    void (*finish)(DigestState* state, BYTE* digest);
};

// Null for an id that is no hash's.
const DigestAlgorithm* FindDigest(ALG_ID id);

}  // namespace provider
