// Contexts, keys and hashes for tests, released at the end.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "platform/cryptoapi.h"

namespace test_support {

inline constexpr char kProviderName[] = "Velmorix Cryptographic Service Provider";
inline constexpr DWORD kProviderType = 2;
inline constexpr ALG_ID kGost28147 = 0x661E;
inline constexpr ALG_ID kGost94 = 0x801E;
inline constexpr ALG_ID kStreebog256 = 0x8021;
inline constexpr ALG_ID kStreebog512 = 0x8022;

class VerifyContext {
  public:
    VerifyContext() {
        EXPECT_TRUE(CryptAcquireContextA(&handle_, nullptr, kProviderName, kProviderType,
                                         CRYPT_VERIFYCONTEXT))
            << std::hex << GetLastError();
    }
    ~VerifyContext() {
        if (handle_ != 0) {
            CryptReleaseContext(handle_, 0);
        }
    }
    VerifyContext(const VerifyContext&) = delete;
    VerifyContext& operator=(const VerifyContext&) = delete;

    HCRYPTPROV Get() const { return handle_; }
    // Leaves the context to the caller.
    HCRYPTPROV Leave() { return std::exchange(handle_, 0); }

  private:
    HCRYPTPROV handle_ = 0;
};

class Key {
  public:
    explicit Key(const VerifyContext& context) {
        EXPECT_TRUE(CryptGenKey(context.Get(), kGost28147, 0, &handle_));
    }
    // `value` is padded with zeros to 32 octets.
    Key(const VerifyContext& context, std::span<const std::uint8_t> value) : Key(context) {
        std::vector<std::uint8_t> padded(value.begin(), value.end());
        padded.resize(32);
        EXPECT_TRUE(CryptSetKeyParam(handle_, KP_KEYVAL, padded.data(), 0));
    }
    ~Key() { CryptDestroyKey(handle_); }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    HCRYPTKEY Get() const { return handle_; }

  private:
    HCRYPTKEY handle_ = 0;
};

class Hash {
  public:
    Hash(const VerifyContext& context, ALG_ID algorithm) {
        EXPECT_TRUE(CryptCreateHash(context.Get(), algorithm, 0, 0, &handle_));
    }
    // An HMAC over `algorithm`.
    Hash(const VerifyContext& context, const Key& key, ALG_ID algorithm) {
        EXPECT_TRUE(CryptCreateHash(context.Get(), CALG_HMAC, key.Get(), 0, &handle_));
        HMAC_INFO info{};
        info.HashAlgid = algorithm;
        EXPECT_TRUE(
            CryptSetHashParam(handle_, HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), 0));
    }
    explicit Hash(HCRYPTHASH handle) : handle_(handle) {}
    ~Hash() { CryptDestroyHash(handle_); }
    Hash(const Hash&) = delete;
    Hash& operator=(const Hash&) = delete;

    HCRYPTHASH Get() const { return handle_; }

    Hash& Add(std::span<const std::uint8_t> data) {
        EXPECT_TRUE(CryptHashData(handle_, data.data(), static_cast<DWORD>(data.size()), 0));
        return *this;
    }
    std::vector<std::uint8_t> Value() const {
        DWORD size = 0;
        EXPECT_TRUE(CryptGetHashParam(handle_, HP_HASHVAL, nullptr, &size, 0));
        std::vector<std::uint8_t> value(size);
        EXPECT_TRUE(CryptGetHashParam(handle_, HP_HASHVAL, value.data(), &size, 0));
        return value;
    }

  private:
    HCRYPTHASH handle_ = 0;
};

}  // namespace test_support
