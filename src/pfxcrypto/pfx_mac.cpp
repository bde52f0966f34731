#include "pfxcrypto/pfx_mac.h"

#include <utility>

#include "derlist/der_queries.h"
#include "pfxcrypto/handle_guards.h"
#include "pfxcrypto/password.h"
#include "pfxcrypto/pfx_constants.h"
#include "pfxcrypto/pfx_pbkdf2.h"

namespace pkisdk {

namespace {

constexpr std::uint32_t kDerivedSize = 96;
constexpr std::uint32_t kMacKeyOffset = 64;

// Answers the error word, taken before the guards release what they hold.
DWORD KeyedHash(HCRYPTPROV provider, ALG_ID hashAlgorithm, const Blob& derived, const Blob& data,
                Blob* value) {
    ProviderKey key;
    if (!CryptGenKey(provider, kGost28147, 0, key.Put()) ||
        !CryptSetKeyParam(key.Get(), KP_KEYVAL, derived.GetData() + kMacKeyOffset, 0)) {
        return GetLastError();
    }
    HMAC_INFO info{};
    info.HashAlgid = hashAlgorithm;
    ProviderHash hmac;
    DWORD length = 0;
    if (!CryptCreateHash(provider, CALG_HMAC, key.Get(), 0, hmac.Put()) ||
        !CryptSetHashParam(hmac.Get(), HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), 0) ||
        !CryptHashData(hmac.Get(), data.GetData(), static_cast<DWORD>(data.GetSize()), 0) ||
        !CryptGetHashParam(hmac.Get(), HP_HASHVAL, nullptr, &length, 0)) {
        return GetLastError();
    }
    value->SetSize(length);
    return CryptGetHashParam(hmac.Get(), HP_HASHVAL, value->GetData(), &length, 0) ? 0
                                                                                   : GetLastError();
}

// Answers the error word, 0 when `value` is the MAC.
DWORD MacOf(DerList covered, const char* password, HCRYPTPROV provider, ALG_ID hashAlgorithm,
            std::uint32_t iterations, const IBlob* salt, Blob* value) {
    Blob data;
    if (salt == nullptr || ExtractSubtree(std::move(covered), 0, &data) == 0) {
        return static_cast<DWORD>(NTE_BAD_DATA);
    }
    Blob utf8;
    if (AnsiToUtf8Password(password, &utf8) == 0 || utf8.IsEmpty() ||
        utf8.GetSize() > kPasswordLimit) {
        return ERROR_INVALID_PASSWORD;
    }
    Blob derived;
    if (PfxPbkdf2(provider, hashAlgorithm, kGost28147, utf8, *salt, iterations, kDerivedSize,
                  &derived) == 0) {
        return GetLastError();
    }
    return KeyedHash(provider, hashAlgorithm, derived, data, value);
}

}  // namespace

int ComputePfxMac(DerList covered, const char* password, HCRYPTPROV provider, ALG_ID hashAlgorithm,
                  [[maybe_unused]] ALG_ID keyAlgorithm, std::uint32_t iterations,
                  IBlob* saltAndResult) {
    Blob value;
    const DWORD error = MacOf(std::move(covered), password, provider, hashAlgorithm, iterations,
                              saltAndResult, &value);
    if (error == 0) {
        saltAndResult->Assign(value.GetData(), value.GetSize());
    }
    SetLastError(error);
    return error == 0 ? 1 : 0;
}

}  // namespace pkisdk
