#include "provider/digest.h"

#include <nettle/gosthash94.h>
#include <nettle/sha1.h>
#include <nettle/streebog.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "provider/algorithms.h"
#include "provider/wipe.h"

namespace provider {

namespace {

template <typename Context>
Context* As(DigestState* state) {
    return reinterpret_cast<Context*>(state->bytes.data());
}

// The library's functions for one algorithm, brought to one shape.
template <typename Context, DWORD kDigestSize, void (*kInit)(Context*),
          void (*kUpdate)(Context*, std::size_t, const std::uint8_t*),
          void (*kDigest)(Context*, std::size_t, std::uint8_t*)>
constexpr DigestAlgorithm Algorithm(ALG_ID id, DWORD blockSize) {
    static_assert(sizeof(Context) <= sizeof(DigestState));
    static_assert(alignof(Context) <= alignof(DigestState));
    static_assert(kDigestSize <= kLargestDigest);
    // Whatever counts between blocks stands before the buffer of the block that is being filled.
    static_assert(offsetof(Context, count) < offsetof(Context, block) &&
                  offsetof(Context, index) < offsetof(Context, block) &&
                  sizeof(Context) - offsetof(Context, block) < sizeof(Context::block) + 16);
    return {
        .id = id,
        .digestSize = kDigestSize,
        .blockSize = blockSize,
        .stateSize = sizeof(Context),
        .chainingSize = offsetof(Context, block),
        .start = [](DigestState* state) { kInit(As<Context>(state)); },
        .update = [](DigestState* state, const BYTE* data,
                     std::size_t size) { kUpdate(As<Context>(state), size, data); },
        .finish = [](DigestState* state,
                     BYTE* digest) { kDigest(As<Context>(state), kDigestSize, digest); },
    };
}

constexpr DigestAlgorithm kAlgorithms[] = {
    Algorithm<gosthash94_ctx, GOSTHASH94_DIGEST_SIZE, &gosthash94cp_init, &gosthash94cp_update,
              &gosthash94cp_digest>(kGostR3411_94, GOSTHASH94_BLOCK_SIZE),
    Algorithm<streebog512_ctx, STREEBOG512_DIGEST_SIZE, &streebog512_init, &streebog512_update,
              &streebog512_digest>(kGostR3411_2012_512, STREEBOG512_BLOCK_SIZE),
    Algorithm<streebog256_ctx, STREEBOG256_DIGEST_SIZE, &streebog256_init, &streebog256_update,
              &streebog256_digest>(kGostR3411_2012_256, STREEBOG256_BLOCK_SIZE),
    Algorithm<sha1_ctx, SHA1_DIGEST_SIZE, &sha1_init, &sha1_update, &sha1_digest>(CALG_SHA1,
                                                                                  SHA1_BLOCK_SIZE),
};

}  // namespace

void CopyDigest(const DigestAlgorithm& algorithm, const DigestState& from, DigestState* to) {
    std::memcpy(to->bytes.data(), from.bytes.data(), algorithm.stateSize);
}

void CopyDigestAtBlockBoundary(const DigestAlgorithm& algorithm, const DigestState& from,
                               DigestState* to) {
    std::memcpy(to->bytes.data(), from.bytes.data(), algorithm.chainingSize);
}

void WipeDigest(const DigestAlgorithm& algorithm, DigestState* state) {
    Wipe(state->bytes.data(), algorithm.stateSize);
}

// Finishing has put the start's values before the block.
void WipeFinishedDigest(const DigestAlgorithm& algorithm, DigestState* state) {
    Wipe(state->bytes.data() + algorithm.chainingSize,
         algorithm.stateSize - algorithm.chainingSize);
}

void WipeDigestAtBlockBoundary(const DigestAlgorithm& algorithm, DigestState* state) {
    Wipe(state->bytes.data(), algorithm.chainingSize);
}

const DigestAlgorithm* FindDigest(ALG_ID id) {
    for (const DigestAlgorithm& algorithm : kAlgorithms) {
        if (algorithm.id == id) {
            return &algorithm;
        }
    }
    return nullptr;
}

}  // namespace provider
