#include "provider/container_seal.h"

#include <gcrypt.h>

#include <algorithm>
#include <memory>
#include <new>
#include <type_traits>

#include "provider/library.h"
#include "provider/random.h"

namespace provider {

namespace {

constexpr std::size_t kCipherKeySize = 32;
constexpr std::size_t kMacKeySize = 32;
constexpr char kParameterSet[] = "1.2.643.7.1.2.5.1.1";

// Memory is all that these calls can lack.
void Require(gcry_error_t error) {
    if (error != 0) {
        throw std::bad_alloc();
    }
}

struct CloseCipher {
    void operator()(gcry_cipher_hd_t cipher) const { gcry_cipher_close(cipher); }
};
using Cipher = std::unique_ptr<std::remove_pointer_t<gcry_cipher_hd_t>, CloseCipher>;

struct CloseMac {
    void operator()(gcry_mac_hd_t mac) const { gcry_mac_close(mac); }
};
using Mac = std::unique_ptr<std::remove_pointer_t<gcry_mac_hd_t>, CloseMac>;

Cipher OpenCipher(const SealKeys& keys, std::span<const BYTE> vector) {
    gcry_cipher_hd_t handle = nullptr;
    Require(
        gcry_cipher_open(&handle, GCRY_CIPHER_GOST28147, GCRY_CIPHER_MODE_CFB, GCRY_CIPHER_SECURE));
    Cipher cipher(handle);
    Require(gcry_cipher_setkey(handle, keys.octets.data(), kCipherKeySize));
    Require(gcry_cipher_ctl(handle, GCRYCTL_SET_SBOX, const_cast<char*>(kParameterSet), 0));
    Require(gcry_cipher_setiv(handle, vector.data(), vector.size()));
    return cipher;
}

}  // namespace

SealKeys DeriveSealKeys(std::span<const BYTE> pin, const ContainerSalt& salt, DWORD iterations) {
    SetUpLibrary();
    SealKeys keys{salt, SecretBytes(kCipherKeySize + kMacKeySize)};
    // The library refuses a null pointer.
    const void* const octets = pin.empty() ? "" : static_cast<const void*>(pin.data());
    Require(gcry_kdf_derive(octets, pin.size(), GCRY_KDF_PBKDF2, GCRY_MD_STRIBOG512, salt.data(),
                            salt.size(), iterations, keys.octets.size(), keys.octets.data()));
    return keys;
}

std::vector<BYTE> Seal(const SealKeys& keys, std::span<const BYTE> secret) {
    std::vector<BYTE> sealed(kSealVectorSize + secret.size());
    const std::span<BYTE> vector = std::span(sealed).first(kSealVectorSize);
    FillRandom(vector);
    const Cipher cipher = OpenCipher(keys, vector);
    Require(gcry_cipher_encrypt(cipher.get(), sealed.data() + kSealVectorSize, secret.size(),
                                secret.data(), secret.size()));
    return sealed;
}

SecretBytes Unseal(const SealKeys& keys, std::span<const BYTE> sealed) {
    const std::span<const BYTE> encrypted = sealed.subspan(kSealVectorSize);
    const Cipher cipher = OpenCipher(keys, sealed.first(kSealVectorSize));
    SecretBytes secret(encrypted.size());
    Require(gcry_cipher_decrypt(cipher.get(), secret.data(), secret.size(), encrypted.data(),
                                encrypted.size()));
    return secret;
}

ContainerMac ComputeMac(const SealKeys& keys, const ContainerImage& image) {
    gcry_mac_hd_t handle = nullptr;
    Require(gcry_mac_open(&handle, GCRY_MAC_HMAC_STRIBOG256, GCRY_MAC_FLAG_SECURE, nullptr));
    const Mac mac(handle);
    Require(gcry_mac_setkey(handle, keys.octets.data() + kCipherKeySize, kMacKeySize));
    const std::vector<BYTE> octets = SerializeForMac(image);
    Require(gcry_mac_write(handle, octets.data(), octets.size()));
    ContainerMac value{};
    std::size_t size = value.size();
    Require(gcry_mac_read(handle, value.data(), &size));
    return value;
}

bool HasMac(const SealKeys& keys, const ContainerImage& image) {
    const ContainerMac expected = ComputeMac(keys, image);
    BYTE difference = 0;
    for (std::size_t i = 0; i != expected.size(); ++i) {
        difference = static_cast<BYTE>(difference | (expected[i] ^ image.mac[i]));
    }
    return difference == 0;
}

ContainerMac ComputeChecksum(std::span<const BYTE> octets) {
    ContainerMac value{};
    HashAtOnce(GCRY_MD_STRIBOG256, octets, value);
    return value;
}

}  // namespace provider
