// The hash algorithms. What computes them is one of digest_*.cpp, as the build chooses; a state is
// plain memory, which may stand for memory of the library's own.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "platform/cryptoapi.h"

namespace provider {

inline constexpr std::size_t kLargestDigest = 64;
inline constexpr std::size_t kLargestBlock = 64;

// Holds the state of any of the algorithms. It is left uninitialised: a state's algorithm tells
// how much of it means something. From its start, or a copy into it, until it is wiped.
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

    // Throws std::bad_alloc, also where the library's secure memory is exhausted.
    void (*start)(DigestState* state);
    void (*update)(DigestState* state, const BYTE* data, std::size_t size);
    // Writes `digestSize` octets; the state is started again.
    void (*finish)(DigestState* state, BYTE* digest);
};

// Make `*to`, which holds nothing, the same as `*from`; the second one where that has hashed whole
// blocks alone. Throw std::bad_alloc.
void CopyDigest(const DigestAlgorithm& algorithm, const DigestState& from, DigestState* to);
void CopyDigestAtBlockBoundary(const DigestAlgorithm& algorithm, const DigestState& from,
                               DigestState* to);

// Ends a state and leaves nothing of what it has taken; the second one where it was finished, and
// so started again, and the third where it has hashed whole blocks alone.
void WipeDigest(const DigestAlgorithm& algorithm, DigestState* state);
void WipeFinishedDigest(const DigestAlgorithm& algorithm, DigestState* state);
void WipeDigestAtBlockBoundary(const DigestAlgorithm& algorithm, DigestState* state);

// Null for an id that is no hash's.
const DigestAlgorithm* FindDigest(ALG_ID id);

}  // namespace provider
