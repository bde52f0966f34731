// A key of GOST 28147-89, as it lives in its slot.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "platform/cryptoapi.h"
#include "provider/cipher.h"
#include "provider/hmac.h"

namespace provider {

// Not safe for several threads: they work on it under its lease. Plain memory, so WipeSecrets has
// to be called before it is dropped.
class SessionKey {
  public:
    static constexpr std::size_t kValueSize = 32;
    static constexpr std::size_t kVectorSize = 8;

    // A new random value, a vector of zeros and the first parameter set.
    void Generate(DWORD permissions);
    // `data` is as long as the parameter says: KP_KEYVAL and KP_X 32 octets, KP_IV 8, KP_CIPHEROID
    // dotted text with terminator, where empty text means the first set; each of them drops the
    // message that is under way. KP_PERMISSIONS is a DWORD, and can only take permissions away:
    // NTE_PERM. NTE_BAD_TYPE for another parameter, NTE_BAD_DATA for a set that is not known.
    HRESULT SetParameter(DWORD parameter, const BYTE* data);
    // KP_ALGID, KP_IV, KP_CIPHEROID, KP_KEYLEN, KP_BLOCKLEN (in bits) and KP_PERMISSIONS. The value
    // is not to be read: NTE_BAD_TYPE.
    HRESULT GetParameter(DWORD parameter, BYTE* out, DWORD* outSize) const;

    // Encrypts or decrypts a piece of a message in place. The message starts with the first piece,
    // from the vector, and ends with one that is final. NTE_PERM without the permission; a failure
    // of the library (NTE_NO_MEMORY, NTE_FAIL) ends the message. May throw std::bad_alloc.
    HRESULT Process(CipherDirection direction, bool isFinal, std::span<BYTE> piece);
    // The same for a message that is one piece, beside the one that is under way.
    HRESULT ProcessWhole(CipherDirection direction, std::span<BYTE> message) const;

    // The pads of the key under that hash. They are computed once and kept until the value changes
    // or another hash is asked for.
    const HmacPads& PadsFor(const DigestAlgorithm& algorithm);

    void WipeSecrets();

  private:
    void SetValue(const BYTE* value);
    HRESULT NarrowPermissions(const BYTE* data);
    bool Permits(CipherDirection direction) const;
    void DropMessage();

    std::array<BYTE, kValueSize> value_;
    std::array<BYTE, kVectorSize> vector_;
    // One of the known identifiers.
    const char* parameterSet_;
    DWORD permissions_;
    // Owned; null while no message is under way.
    CipherMessage* message_;
    HmacPads pads_;
};

}  // namespace provider
