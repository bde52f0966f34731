// A hash or an HMAC, as it lives in its slot.
#pragma once

#include <array>

#include "platform/cryptoapi.h"
#include "provider/digest.h"
#include "provider/hmac.h"

namespace provider {

// One thread at a time works on it, under its lease. A derivation makes one for each iteration, so
// starting and wiping touch no more than is used.
class Hash {
  public:
    // Start, StartAsCopy and SetPads may throw std::bad_alloc, and then it is as it was, or holds
    // nothing.
    void Start(const DigestAlgorithm& algorithm);
    // An HMAC with `key`, which waits for SetPads before it can hash.
    void StartKeyed(HCRYPTKEY key);
    // Takes the state of `other`, and its key.
    void StartAsCopy(const Hash& other);

    // Whether it is an HMAC that has not been told its hash. If so, Key() is the key.
    bool AwaitsPads() const { return stage_ == Stage::kAwaitingPads; }
    HCRYPTKEY Key() const { return key_; }
    void SetPads(const HmacPads& pads);

    // These give NTE_BAD_HASH_STATE on an HMAC without pads, and Update and SetValue also once the
    // value has been read or set.
    HRESULT Update(const BYTE* data, DWORD size);
    // Sets the value itself, `data` of its size; a keyed hash has NTE_BAD_TYPE for that.
    HRESULT SetValue(const BYTE* data);
    // HP_HASHVAL, HP_HASHSIZE; HP_ALGID at any time. NTE_BAD_TYPE for another parameter.
    HRESULT GetParameter(DWORD parameter, BYTE* out, DWORD* outSize);

    void WipeSecrets();

  private:
    enum class Stage { kAwaitingPads, kHashing, kFinished };

    bool IsKeyed() const { return key_ != 0; }
    void TakeOuter(const DigestState& outer);
    HRESULT GetValue(BYTE* out, DWORD* outSize);
    void Finish();

    Stage stage_;
    // Null while pads are awaited.
    const DigestAlgorithm* algorithm_;
    HCRYPTKEY key_;
    std::array<BYTE, kLargestDigest> value_;
    DigestState running_;
    // Of keyed hashes alone.
    DigestState outer_;
};

}  // namespace provider
