// Entry points: encryption and decryption. The cipher is a stream cipher: what comes out is as long
// as what went in, for each piece.
#include "csp.h"
#include "provider/objects.h"
#include "provider/parameter.h"

namespace provider {

namespace {

// Works on the piece, and shows its plain text to the hash where there is one. A hash that cannot
// take more is told before the key has moved on.
HRESULT ProcessAndHash(HCRYPTPROV context, SessionKey* key, HCRYPTHASH hashHandle,
                       CipherDirection direction, bool isFinal, std::span<BYTE> piece) {
    if (hashHandle == 0) {
        return key->Process(direction, isFinal, piece);
    }
    return WithHash(context, hashHandle, [=](HashTable::Lease* hash) -> HRESULT {
        const bool isEncryption = direction == CipherDirection::kEncrypt;
        const std::span<BYTE> shownFirst = isEncryption ? piece : piece.first(0);
        HRESULT status = (*hash)->Update(shownFirst.data(), static_cast<DWORD>(shownFirst.size()));
        if (status == S_OK) {
            status = key->Process(direction, isFinal, piece);
        }
        if (status == S_OK && !isEncryption) {
            status = (*hash)->Update(piece.data(), static_cast<DWORD>(piece.size()));
        }
        return status;
    });
}

HRESULT Process(HCRYPTPROV context, HCRYPTKEY keyHandle, HCRYPTHASH hash, CipherDirection direction,
                bool isFinal, DWORD flags, std::span<BYTE> piece) {
    return WithSessionKey(context, keyHandle, [=](SessionKey* key) -> HRESULT {
        if (flags != 0) {
            return NTE_BAD_FLAGS;
        }
        return ProcessAndHash(context, key, hash, direction, isFinal, piece);
    });
}

// With no buffer the key is looked at and nothing is done: the size stays as it is.
HRESULT CheckSizeQuery(HCRYPTPROV context, HCRYPTKEY keyHandle, DWORD flags) {
    return WithSessionKey(context, keyHandle, [=](SessionKey*) -> HRESULT {
        return flags == 0 ? S_OK : NTE_BAD_FLAGS;
    });
}

}  // namespace

}  // namespace provider

using provider::AnswerTo;
using provider::CipherDirection;

BOOL WINAPI CPEncrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags,
                      BYTE* pbData, DWORD* pcbDataLen, DWORD cbBufLen) {
    return AnswerTo([=]() -> HRESULT {
        if (pcbDataLen == nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        if (pbData == nullptr) {
            return provider::CheckSizeQuery(hProv, hKey, dwFlags);
        }
        if (cbBufLen < *pcbDataLen) {
            return ERROR_MORE_DATA;
        }
        return provider::Process(hProv, hKey, hHash, CipherDirection::kEncrypt, Final != FALSE,
                                 dwFlags, {pbData, *pcbDataLen});
    });
}

BOOL WINAPI CPDecrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags,
                      BYTE* pbData, DWORD* pcbDataLen) {
    return AnswerTo([=]() -> HRESULT {
        if (pcbDataLen == nullptr || (pbData == nullptr && *pcbDataLen != 0)) {
            return ERROR_INVALID_PARAMETER;
        }
        return provider::Process(hProv, hKey, hHash, CipherDirection::kDecrypt, Final != FALSE,
                                 dwFlags, {pbData, *pcbDataLen});
    });
}
