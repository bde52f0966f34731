#include "provider/hmac.h"

#include <algorithm>
#include <new>

#include "provider/wipe.h"

namespace provider {

namespace {

void TakePad(const DigestAlgorithm& algorithm, std::span<const BYTE> key, BYTE fill,
             DigestState* state) {
    std::array<BYTE, kLargestBlock> pad;
    pad.fill(fill);
    std::transform(key.begin(), key.end(), pad.begin(), pad.begin(),
                   [](BYTE a, BYTE b) { return static_cast<BYTE>(a ^ b); });
    algorithm.update(state, pad.data(), algorithm.blockSize);
    Wipe(pad.data(), pad.size());
}

}  // namespace

void ComputeHmacPads(const DigestAlgorithm& algorithm, std::span<const BYTE> key, HmacPads* pads) {
    constexpr BYTE kInnerFill = 0x36;
    constexpr BYTE kOuterFill = 0x5C;
    algorithm.start(&pads->inner);
    try {
        algorithm.start(&pads->outer);
    } catch (const std::bad_alloc&) {
        WipeDigest(algorithm, &pads->inner);
        throw;
    }
    TakePad(algorithm, key, kInnerFill, &pads->inner);
    TakePad(algorithm, key, kOuterFill, &pads->outer);
    pads->algorithm = &algorithm;
}

void WipeHmacPads(HmacPads* pads) {
    if (pads->algorithm != nullptr) {
        WipeDigest(*pads->algorithm, &pads->inner);
        WipeDigest(*pads->algorithm, &pads->outer);
        pads->algorithm = nullptr;
    }
}

}  // namespace provider
