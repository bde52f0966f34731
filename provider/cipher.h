// GOST 28147-89 in cipher feedback mode (CFB-64) with the key meshing of RFC 4357.
#pragma once

#include <gcrypt.h>

#include <memory>
#include <span>
#include <type_traits>

#include "platform/cryptoapi.h"

namespace provider {

enum class CipherDirection { kEncrypt, kDecrypt };

// One message, taken in pieces of any size. Its state lies in secure memory.
class CipherMessage {
  public:
    // `key` has 32 octets, `vector` 8; `parameterSet` is the S-box's identifier in dotted text.
    // NTE_NO_MEMORY, or NTE_FAIL where the library has no such cipher.
    HRESULT Start(std::span<const BYTE> key, std::span<const BYTE> vector,
                  const char* parameterSet);
    // In place. What feeds back is the cipher text, whatever the direction.
    HRESULT Process(CipherDirection direction, std::span<BYTE> piece);

  private:
    struct Close {
        void operator()(gcry_cipher_hd_t handle) const { gcry_cipher_close(handle); }
    };
    std::unique_ptr<std::remove_pointer_t<gcry_cipher_hd_t>, Close> handle_;
};

}  // namespace provider
