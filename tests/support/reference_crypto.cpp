#include "support/reference_crypto.h"

#include <gcrypt.h>

#include <cctype>
#include <stdexcept>

namespace test_support {

namespace {

int GcryptHash(ALG_ID hashAlgorithm) {
    switch (hashAlgorithm) {
        case 0x801E:
            return GCRY_MD_GOSTR3411_CP;
        case 0x8021:
            return GCRY_MD_STRIBOG256;
        case 0x8022:
            return GCRY_MD_STRIBOG512;
        case 0x8004:
            return GCRY_MD_SHA1;
        default:
            throw std::invalid_argument("no such hash");
    }
}

}  // namespace

Bytes ReferencePbkdf2(ALG_ID hashAlgorithm, const std::string& password, const Bytes& salt,
                      unsigned iterations, std::size_t length) {
    gcry_check_version(nullptr);
    Bytes out(length);
    if (gcry_kdf_derive(password.data(), password.size(), GCRY_KDF_PBKDF2,
                        GcryptHash(hashAlgorithm), salt.data(), salt.size(), iterations, out.size(),
                        out.data()) != 0) {
        throw std::runtime_error("gcry_kdf_derive");
    }
    return out;
}

Bytes ReferenceHmac(ALG_ID hashAlgorithm, const Bytes& key, const Bytes& data) {
    const int algorithm = GcryptHash(hashAlgorithm);
    gcry_md_hd_t handle = nullptr;
    if (gcry_md_open(&handle, algorithm, GCRY_MD_FLAG_HMAC) != 0 ||
        gcry_md_setkey(handle, key.data(), key.size()) != 0) {
        throw std::runtime_error("gcry_md_open");
    }
    gcry_md_write(handle, data.data(), data.size());
    const std::uint8_t* value = gcry_md_read(handle, algorithm);
    Bytes out(value, value + gcry_md_get_algo_dlen(algorithm));
    gcry_md_close(handle);
    return out;
}

Bytes ReferencePfxMac(ALG_ID hashAlgorithm, const std::string& password, const Bytes& salt,
                      unsigned iterations, const Bytes& data) {
    const Bytes derived = ReferencePbkdf2(hashAlgorithm, password, salt, iterations, 96);
    return ReferenceHmac(hashAlgorithm, Bytes(derived.begin() + 64, derived.end()), data);
}

Bytes ReferenceEncrypt(const Bytes& key, const Bytes& vector, const std::string& parameterSet,
                       Bytes data) {
    gcry_check_version(nullptr);
    gcry_cipher_hd_t handle = nullptr;
    if (gcry_cipher_open(&handle, GCRY_CIPHER_GOST28147_MESH, GCRY_CIPHER_MODE_CFB, 0) != 0 ||
        gcry_cipher_ctl(handle, GCRYCTL_SET_SBOX, const_cast<char*>(parameterSet.c_str()), 0) !=
            0 ||
        gcry_cipher_setkey(handle, key.data(), key.size()) != 0 ||
        gcry_cipher_setiv(handle, vector.data(), vector.size()) != 0 ||
        gcry_cipher_encrypt(handle, data.data(), data.size(), nullptr, 0) != 0) {
        throw std::runtime_error("gcry_cipher");
    }
    gcry_cipher_close(handle);
    return data;
}

Bytes FromHex(const std::string& text) {
    std::string digits;
    for (const char c : text) {
        if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
            digits += c;
        }
    }
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

}  // namespace test_support
