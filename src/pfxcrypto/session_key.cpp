#include "pfxcrypto/session_key.h"

#include <cstring>
#include <utility>

#include "pfxcrypto/password.h"
#include "pfxcrypto/pfx_constants.h"
#include "pfxcrypto/pfx_pbkdf2.h"

namespace pkisdk {

namespace {

// The local salt: the caller's, or a fresh one.
bool ChooseSalt(HCRYPTPROV provider, const Blob& given, Blob* salt) {
    if (!given.IsEmpty()) {
        *salt = given;
        return true;
    }
    salt->SetSize(kSaltSize);
    return CryptGenRandom(provider, kSaltSize, salt->GetData()) != FALSE;
}

bool SetKeyAndVector(HCRYPTKEY key, const Blob& derived) {
    return (CryptSetKeyParam(key, KP_KEYVAL, derived.GetData(), 0) ||
            CryptSetKeyParam(key, KP_X, derived.GetData(), 0)) &&
           CryptSetKeyParam(key, KP_IV, derived.GetData() + kKeySize, 0);
}

// Answers the error word, 0 when `key` is ready.
DWORD PrepareKey(const char* password, HCRYPTPROV provider, ALG_ID keyAlgorithm,
                 ALG_ID hashAlgorithm, std::uint32_t iterations, const Blob& givenSalt,
                 HCRYPTKEY* key, Blob* salt) {
    if (password == nullptr || std::strlen(password) > kPasswordLimit) {
        return ERROR_INVALID_PASSWORD;
    }
    if (!CryptGenKey(provider, keyAlgorithm, 0, key) || !ChooseSalt(provider, givenSalt, salt)) {
        return GetLastError();
    }
    Blob utf8;
    if (AnsiToUtf8Password(password, &utf8) == 0 || utf8.IsEmpty() ||
        utf8.GetSize() > kPasswordLimit) {
        return ERROR_INVALID_PASSWORD;
    }
    Blob derived;
    if (PfxPbkdf2(provider, hashAlgorithm, keyAlgorithm, utf8, *salt, iterations,
                  kKeySize + kVectorSize, &derived) == 0 ||
        !SetKeyAndVector(*key, derived)) {
        return GetLastError();
    }
    return 0;
}

}  // namespace

int DerivePfxSessionKey(const char* password, HCRYPTPROV provider, ALG_ID keyAlgorithm,
                        ALG_ID hashAlgorithm, std::uint32_t iterations, HCRYPTKEY* key,
                        Blob* salt) {
    // On failure this key is left to the provider's context, which owns it: no guard.
    HCRYPTKEY sessionKey = 0;
    Blob usedSalt;
    const DWORD error = PrepareKey(password, provider, keyAlgorithm, hashAlgorithm, iterations,
                                   *salt, &sessionKey, &usedSalt);
    if (error == 0) {
        *key = sessionKey;
        *salt = std::move(usedSalt);
    }
    SetLastError(error);
    return error == 0 ? 1 : 0;
}

}  // namespace pkisdk
