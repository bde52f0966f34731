#include "provider/hmac.h"

#include <algorithm>
#include <cstring>

#include "provider/wipe.h"

namespace provider {

namespace {

void StartWithPad(const DigestAlgorithm& algorithm, std::span<const BYTE> key, BYTE fill,
                  DigestState* state) {
    std::array<BYTE, kLargestBlock> pad;
    pad.fill(fill);
    std::transform(key.begin(), key.end(), pad.begin(), pad.begin(),
                   [](BYTE a, BYTE b) { return static_cast<BYTE>(a ^ b); });
    algorithm.start(state);
    algorithm.update(state, pad.data(), algorithm.blockSize);
    Wipe(pad.data(), pad.size());
}

}  // namespace

void ComputeHmacPads(const DigestAlgorithm& algorithm, std::span<const BYTE> key, HmacPads* pads) {
    constexpr BYTE kInnerFill = 0x36;
    constexpr BYTE kOuterFill = 0x5C;
    StartWithPad(algorithm, key, kInnerFill, &pads->inner);
    StartWithPad(algorithm, key, kOuterFill, &pads->outer);
    pads->algorithm = &algorithm;
}

void WipeHmacPads(HmacPads* pads) {
    if (pads->algorithm != nullptr) {
        Wipe(pads->inner.bytes.data(), pads->algorithm->stateSize);
        Wipe(pads->outer.bytes.data(), pads->algorithm->stateSize);
        pads->algorithm = nullptr;
    }
}

void CopyAtBlockBoundary(const DigestAlgorithm& algorithm, const DigestState& from,
                         DigestState* to) {
    std::memcpy(to->bytes.data(), from.bytes.data(), algorithm.chainingSize);
}

}  // namespace provider
