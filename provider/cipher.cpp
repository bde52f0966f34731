#include "provider/cipher.h"

#include "provider/library.h"
#include "provider/library_error.h"

namespace provider {

HRESULT CipherMessage::Start(std::span<const BYTE> key, std::span<const BYTE> vector,
                             const char* parameterSet) {
    SetUpLibrary();
    gcry_cipher_hd_t handle = nullptr;
    gcry_error_t error = gcry_cipher_open(&handle, GCRY_CIPHER_GOST28147_MESH, GCRY_CIPHER_MODE_CFB,
                                          GCRY_CIPHER_SECURE);
    handle_.reset(handle);
    if (error == 0) {
        error = gcry_cipher_set_sbox(handle, parameterSet);
    }
    if (error == 0) {
        error = gcry_cipher_setkey(handle, key.data(), key.size());
    }
    if (error == 0) {
        error = gcry_cipher_setiv(handle, vector.data(), vector.size());
    }
    return StatusOf(error);
}

HRESULT CipherMessage::Process(CipherDirection direction, std::span<BYTE> piece) {
    if (piece.empty()) {
        return S_OK;
    }
    const auto process =
        direction == CipherDirection::kEncrypt ? &gcry_cipher_encrypt : &gcry_cipher_decrypt;
    return StatusOf(process(handle_.get(), piece.data(), piece.size(), nullptr, 0));
}

}  // namespace provider
