// Keys as other programs read and write them: PrivateKeyInfo (PKCS#8, RFC 5958) and
// SubjectPublicKeyInfo (RFC 5280), with the parameters of RFC 4491 and RFC 9215.
//
// All of these may throw std::bad_alloc.
#pragma once

#include <span>
#include <vector>

#include "platform/cryptoapi.h"
#include "provider/gost_algorithms.h"
#include "provider/secret_bytes.h"

namespace provider {

struct KeyType {
    const GostAlgorithm* algorithm = nullptr;
    const GostCurve* curve = nullptr;
};

// The key is written raw, least significant octet first, in the OCTET STRING.
SecretBytes EncodePrivateKeyInfo(const KeyType& type, std::span<const BYTE> privateKey);

// Takes a key that is
//   - raw, as above;
//   - raw in a further OCTET STRING;
//   - a number in an INTEGER;
//   - masked: the masked key and k masks, all as long as a key. The key is their product modulo the
//     group's order.
// What is as long as a raw or masked key is taken for one. Attributes, and the public key of
// version 1, are passed over. NTE_BAD_DATA for everything else, a key outside its group's range
// among it.
HRESULT DecodePrivateKeyInfo(std::span<const BYTE> info, KeyType* type, SecretBytes* privateKey);

std::vector<BYTE> EncodePublicKeyInfo(const KeyType& type, std::span<const BYTE> publicKey);

// NTE_BAD_DATA for what is none, or is no point of its curve's group.
HRESULT DecodePublicKeyInfo(std::span<const BYTE> info, KeyType* type,
                            std::vector<BYTE>* publicKey);

}  // namespace provider
