#include "pfxcrypto/pfx_pbkdf2.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <vector>

#include "pfxcrypto/handle_guards.h"
#include "pfxcrypto/kdf_cost.h"
#include "pfxcrypto/pfx_constants.h"

namespace pkisdk {

namespace {

DWORD Size(const IBlob& blob) {
    return static_cast<DWORD>(blob.GetSize());
}

// Wipes what it watches when the scope ends, on every path.
class ScopedWipe {
  public:
    ScopedWipe(void* memory, std::size_t size) : memory_(memory), size_(size) {}
    ScopedWipe(const ScopedWipe&) = delete;
    ScopedWipe& operator=(const ScopedWipe&) = delete;
    ~ScopedWipe() { SecureZeroMemory(memory_, size_); }

  private:
    void* memory_;
    std::size_t size_;
};

// By eights: the accumulation runs once an iteration, beside an HMAC of some microseconds.
void XorInto(std::span<std::uint8_t> out, const std::uint8_t* value) {
    std::size_t at = 0;
    for (; at + sizeof(std::uint64_t) <= out.size(); at += sizeof(std::uint64_t)) {
        std::uint64_t left = 0;
        std::uint64_t right = 0;
        std::memcpy(&left, out.data() + at, sizeof left);
        std::memcpy(&right, value + at, sizeof right);
        left ^= right;
        std::memcpy(out.data() + at, &left, sizeof left);
    }
    for (; at < out.size(); ++at) {
        out[at] ^= value[at];
    }
}

// One derivation and the handles it holds. A failed step leaves them held, so that the provider's
// last error can be taken before their release.
class Derivation {
  public:
    Derivation(HCRYPTPROV provider, ALG_ID hashAlgorithm) : provider_(provider) {
        info_.HashAlgid = hashAlgorithm;
    }
    Derivation(const Derivation&) = delete;
    Derivation& operator=(const Derivation&) = delete;
    ~Derivation() { SecureZeroMemory(value_.data(), value_.size()); }

    // The password becomes a key of fixed size with zeros behind it, which to an HMAC is the same
    // key, as its pads are longer.
    bool SetPassword(ALG_ID keyAlgorithm, const IBlob& password) {
        std::array<std::uint8_t, kKeySize> keyBuffer{};
        const ScopedWipe wipe(keyBuffer.data(), keyBuffer.size());
        return FillKeyBuffer(password, &keyBuffer) &&
               CryptGenKey(provider_, keyAlgorithm, 0, key_.Put()) &&
               CryptSetKeyParam(key_.Get(), KP_KEYVAL, keyBuffer.data(), 0);
    }

    // XORs the blocks into `output`, which is zeroed.
    bool Run(const IBlob& salt, std::uint32_t iterations, std::span<std::uint8_t> output) {
        for (std::uint32_t counter = 1; !output.empty(); ++counter) {
            if (!RunBlock(counter, salt, iterations, output)) {
                return false;
            }
            output = output.subspan(std::min<std::size_t>(output.size(), value_.size()));
        }
        return true;
    }

  private:
    bool FillKeyBuffer(const IBlob& password, std::array<std::uint8_t, kKeySize>* buffer) {
        if (!CryptCreateHash(provider_, info_.HashAlgid, 0, 0, hash_.Put()) || !SizeValue()) {
            return false;
        }
        if (password.GetSize() > kKeySize) {
            DWORD room = kKeySize;
            if (!CryptHashData(hash_.Get(), password.GetData(), Size(password), 0) ||
                !CryptGetHashParam(hash_.Get(), HP_HASHVAL, buffer->data(), &room, 0)) {
                return false;
            }
        } else {
            std::copy_n(password.GetData(), password.GetSize(), buffer->begin());
        }
        hash_.Reset();
        return true;
    }

    bool RunBlock(std::uint32_t counter, const IBlob& salt, std::uint32_t iterations,
                  std::span<std::uint8_t> output) {
        for (std::uint32_t i = 0; i < iterations; ++i) {
            if (!CryptCreateHash(provider_, CALG_HMAC, key_.Get(), 0, hash_.Put()) ||
                !CryptSetHashParam(hash_.Get(), HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info_),
                                   0) ||
                !(i == 0 ? HashSalt(salt, counter) : HashPrevious()) || !ReadValue()) {
                return false;
            }
            hash_.Reset();
            XorInto(output.first(std::min(output.size(), value_.size())), value_.data());
        }
        return true;
    }

    bool HashSalt(const IBlob& salt, std::uint32_t counter) {
        const std::array<BYTE, 4> octets = {
            static_cast<BYTE>(counter >> 24), static_cast<BYTE>(counter >> 16),
            static_cast<BYTE>(counter >> 8), static_cast<BYTE>(counter)};
        return CryptHashData(hash_.Get(), salt.GetData(), Size(salt), 0) &&
               CryptHashData(hash_.Get(), octets.data(), octets.size(), 0);
    }

    bool HashPrevious() {
        return CryptHashData(hash_.Get(), value_.data(), static_cast<DWORD>(value_.size()), 0) !=
               FALSE;
    }

    // Makes the value as long as the provider says the hash is.
    bool SizeValue() {
        DWORD length = 0;
        if (!CryptGetHashParam(hash_.Get(), HP_HASHVAL, nullptr, &length, 0)) {
            return false;
        }
        value_.resize(length);
        return true;
    }

    // A provider that knew no length for the bare hash is asked again for the HMAC; blocks of no
    // length would never fill the output.
    bool ReadValue() {
        if (value_.empty()) {
            if (!SizeValue()) {
                return false;
            }
            if (value_.empty()) {
                SetLastError(static_cast<DWORD>(NTE_BAD_LEN));
                return false;
            }
        }
        auto length = static_cast<DWORD>(value_.size());
        return CryptGetHashParam(hash_.Get(), HP_HASHVAL, value_.data(), &length, 0) != FALSE;
    }

    HCRYPTPROV provider_;
    HMAC_INFO info_{};
    ProviderKey key_;
    ProviderHash hash_;
    std::vector<BYTE> value_;
};

}  // namespace

int PfxPbkdf2(HCRYPTPROV provider, ALG_ID hashAlgorithm, ALG_ID keyAlgorithm, const IBlob& password,
              const IBlob& salt, std::uint32_t iterations, std::uint32_t outputLength,
              IBlob* output) {
    if (provider == 0) {
        SetLastError(static_cast<DWORD>(NTE_INVALID_PARAMETER));
        return 0;
    }
    DWORD error = 0;
    {
        Derivation derivation(provider, hashAlgorithm);
        if (derivation.SetPassword(keyAlgorithm, password)) {
            output->Assign(nullptr, outputLength);
            if (derivation.Run(salt, EffectiveIterations(iterations),
                               {output->GetData(), outputLength})) {
                return 1;
            }
        }
        error = GetLastError();
    }
    SecureZeroMemory(output->GetData(), static_cast<SIZE_T>(output->GetSize()));
    SetLastError(error);
    return 0;
}

}  // namespace pkisdk
