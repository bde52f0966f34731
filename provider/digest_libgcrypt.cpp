#include <gcrypt.h>

#include <cstring>
#include <new>

#include "provider/algorithms.h"
#include "provider/digest.h"
#include "provider/library.h"

namespace provider {

namespace {

// A state holds the library's own, which lies in secure memory and is wiped when it is closed.
void PutHandle(gcry_md_hd_t handle, DigestState* state) {
    static_assert(sizeof(handle) <= sizeof(DigestState));
    std::memcpy(state->bytes.data(), &handle, sizeof(handle));
}

gcry_md_hd_t HandleOf(const DigestState& state) {
    gcry_md_hd_t handle = nullptr;
    std::memcpy(&handle, state.bytes.data(), sizeof(handle));
    return handle;
}

void Open(int algorithm, DigestState* state) {
    SetUpLibrary();
    gcry_md_hd_t handle = nullptr;
    if (gcry_md_open(&handle, algorithm, GCRY_MD_FLAG_SECURE) != 0) {
        throw std::bad_alloc();
    }
    PutHandle(handle, state);
}

template <int kLibraryId>
constexpr DigestAlgorithm Algorithm(ALG_ID id, DWORD digestSize, DWORD blockSize) {
    return {
        .id = id,
        .digestSize = digestSize,
        .blockSize = blockSize,
        .stateSize = sizeof(gcry_md_hd_t),
        .chainingSize = sizeof(gcry_md_hd_t),
        .start = [](DigestState* state) { Open(kLibraryId, state); },
        .update = [](DigestState* state, const BYTE* data,
                     std::size_t size) { gcry_md_write(HandleOf(*state), data, size); },
        .finish =
            [](DigestState* state, BYTE* digest) {
                gcry_md_hd_t const handle = HandleOf(*state);
                std::memcpy(digest, gcry_md_read(handle, 0), gcry_md_get_algo_dlen(kLibraryId));
                gcry_md_reset(handle);
            },
    };
}

constexpr DigestAlgorithm kAlgorithms[] = {
    Algorithm<GCRY_MD_GOSTR3411_CP>(kGostR3411_94, 32, 32),
    Algorithm<GCRY_MD_STRIBOG512>(kGostR3411_2012_512, 64, 64),
    Algorithm<GCRY_MD_STRIBOG256>(kGostR3411_2012_256, 32, 64),
    Algorithm<GCRY_MD_SHA1>(CALG_SHA1, 20, 64),
};

}  // namespace

void CopyDigest(const DigestAlgorithm& /*algorithm*/, const DigestState& from, DigestState* to) {
    gcry_md_hd_t copy = nullptr;
    if (gcry_md_copy(&copy, HandleOf(from)) != 0) {
        throw std::bad_alloc();
    }
    PutHandle(copy, to);
}

void CopyDigestAtBlockBoundary(const DigestAlgorithm& algorithm, const DigestState& from,
                               DigestState* to) {
    CopyDigest(algorithm, from, to);
}

void WipeDigest(const DigestAlgorithm& /*algorithm*/, DigestState* state) {
    gcry_md_close(HandleOf(*state));
    PutHandle(nullptr, state);
}

void WipeFinishedDigest(const DigestAlgorithm& algorithm, DigestState* state) {
    WipeDigest(algorithm, state);
}

void WipeDigestAtBlockBoundary(const DigestAlgorithm& algorithm, DigestState* state) {
    WipeDigest(algorithm, state);
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
