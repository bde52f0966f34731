#include "provider/hash.h"

#include <cstring>
#include <new>
#include <span>

#include "provider/parameter.h"
#include "provider/wipe.h"

namespace provider {

void Hash::Start(const DigestAlgorithm& algorithm) {
    stage_ = Stage::kHashing;
    algorithm_ = &algorithm;
    key_ = 0;
    algorithm.start(&running_);
}

void Hash::StartKeyed(HCRYPTKEY key) {
    stage_ = Stage::kAwaitingPads;
    algorithm_ = nullptr;
    key_ = key;
}

void Hash::StartAsCopy(const Hash& other) {
    stage_ = other.stage_;
    algorithm_ = other.algorithm_;
    key_ = other.key_;
    if (algorithm_ == nullptr) {
        return;
    }
    if (stage_ == Stage::kFinished) {
        std::memcpy(value_.data(), other.value_.data(), algorithm_->digestSize);
        return;
    }
    CopyDigest(*algorithm_, other.running_, &running_);
    if (IsKeyed()) {
        TakeOuter(other.outer_);
    }
}

void Hash::SetPads(const HmacPads& pads) {
    CopyDigestAtBlockBoundary(*pads.algorithm, pads.inner, &running_);
    algorithm_ = pads.algorithm;
    TakeOuter(pads.outer);
    stage_ = Stage::kHashing;
}

// Beside the running state, which does not stay alone.
void Hash::TakeOuter(const DigestState& outer) {
    try {
        CopyDigestAtBlockBoundary(*algorithm_, outer, &outer_);
    } catch (const std::bad_alloc&) {
        WipeDigest(*algorithm_, &running_);
        algorithm_ = nullptr;
        throw;
    }
}

HRESULT Hash::Update(const BYTE* data, DWORD size) {
    if (stage_ != Stage::kHashing) {
        return NTE_BAD_HASH_STATE;
    }
    algorithm_->update(&running_, data, size);
    return S_OK;
}

HRESULT Hash::SetValue(const BYTE* data) {
    if (IsKeyed()) {
        return NTE_BAD_TYPE;
    }
    if (stage_ != Stage::kHashing) {
        return NTE_BAD_HASH_STATE;
    }
    WipeDigest(*algorithm_, &running_);
    std::memcpy(value_.data(), data, algorithm_->digestSize);
    stage_ = Stage::kFinished;
    return S_OK;
}

void Hash::Finish() {
    algorithm_->finish(&running_, value_.data());
    WipeFinishedDigest(*algorithm_, &running_);
    if (IsKeyed()) {
        algorithm_->update(&outer_, value_.data(), algorithm_->digestSize);
        algorithm_->finish(&outer_, value_.data());
        WipeFinishedDigest(*algorithm_, &outer_);
    }
    stage_ = Stage::kFinished;
}

HRESULT Hash::GetValue(BYTE* out, DWORD* outSize) {
    const std::span<const BYTE> value = std::span(value_).first(algorithm_->digestSize);
    // Only a call that will get the value ends the hashing.
    if (stage_ == Stage::kHashing && out != nullptr && outSize != nullptr &&
        *outSize >= value.size()) {
        Finish();
    }
    return WriteParameter(value, out, outSize);
}

HRESULT Hash::GetParameter(DWORD parameter, BYTE* out, DWORD* outSize) {
    if (parameter == HP_ALGID) {
        return WriteParameter(IsKeyed() ? DWORD{CALG_HMAC} : algorithm_->id, out, outSize);
    }
    if (parameter != HP_HASHVAL && parameter != HP_HASHSIZE) {
        return NTE_BAD_TYPE;
    }
    if (AwaitsPads()) {
        return NTE_BAD_HASH_STATE;
    }
    return parameter == HP_HASHVAL ? GetValue(out, outSize)
                                   : WriteParameter(algorithm_->digestSize, out, outSize);
}

void Hash::WipeSecrets() {
    if (stage_ == Stage::kFinished) {
        Wipe(value_.data(), algorithm_->digestSize);
    } else if (stage_ == Stage::kHashing) {
        WipeDigest(*algorithm_, &running_);
        if (IsKeyed()) {
            WipeDigestAtBlockBoundary(*algorithm_, &outer_);
        }
    }
}

}  // namespace provider
