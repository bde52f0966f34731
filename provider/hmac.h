// HMAC (RFC 2104), with the work that depends on the key alone done once.
#pragma once

#include <span>

#include "platform/cryptoapi.h"
#include "provider/digest.h"

namespace provider {

// The states of a hash that has taken the inner and the outer pad of a key. Holds the key's secret:
// whoever keeps it wipes it.
struct HmacPads {
    // Null while there are none.
    const DigestAlgorithm* algorithm = nullptr;
    DigestState inner;
    DigestState outer;
};

// `key` is no longer than the algorithm's block. Throws std::bad_alloc, and then there are none.
void ComputeHmacPads(const DigestAlgorithm& algorithm, std::span<const BYTE> key, HmacPads* pads);
void WipeHmacPads(HmacPads* pads);

}  // namespace provider
